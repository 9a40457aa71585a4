# One function for each kind of thing that the tree holds, so that all of a kind are built alike.

# What every target of this tree is compiled with.
add_library( sipauth-common INTERFACE )
target_include_directories( sipauth-common INTERFACE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/source )
# Aborts name the source file from the root of the tree, wherever it was built.
target_compile_options( sipauth-common INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= )
target_link_libraries( sipauth-common INTERFACE sipauth-warnings )
if( SIPAUTH_PRECOMPILE_TESTS )
    # For a build whose programs are only run: lines for the sanitizers' reports, no more.
    if( SIPAUTH_SANITIZE )
        target_compile_options( sipauth-common INTERFACE -g1 )
    else()
        target_compile_options( sipauth-common INTERFACE -g0 )
    endif()
endif()
if( SIPAUTH_SANITIZE )
    target_compile_options( sipauth-common INTERFACE -fsanitize=${SIPAUTH_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all )
    target_link_options( sipauth-common INTERFACE -fsanitize=${SIPAUTH_SANITIZE} )
endif()
if( SIPAUTH_COVERAGE )
    target_compile_options( sipauth-common INTERFACE --coverage -O0 -fprofile-update=atomic )
    target_link_options( sipauth-common INTERFACE --coverage )
endif()
if( SIPAUTH_BUILD_FUZZ )
    target_compile_options( sipauth-common INTERFACE -fsanitize=fuzzer-no-link )
endif()

# Library and platform code: no exceptions, no run-time types, nothing visible that a header does not export.
add_library( sipauth-library-code INTERFACE )
target_compile_options( sipauth-library-code INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti> -fvisibility=hidden -fno-plt
    -fno-semantic-interposition )
target_link_libraries( sipauth-library-code INTERFACE sipauth-common )

# sipauth_add_module( NAME SOURCES... ): the objects of one module folder, as target module-NAME.
function( sipauth_add_module name )
    add_library( module-${name} OBJECT ${ARGN} )
    set_target_properties( module-${name} PROPERTIES POSITION_INDEPENDENT_CODE ON )
    target_link_libraries( module-${name} PUBLIC sipauth-library-code )
endfunction()

# sipauth_shared_library( NAME MODULES ... ): what all shared libraries of this tree have in common. NAME exports what
# the headers of its modules declare under PB_EXPORT, and finds the others beside it wherever they are installed.
function( sipauth_shared_library name )
    cmake_parse_arguments( arg "" "" "MODULES" ${ARGN} )
    set( map ${PROJECT_SOURCE_DIR}/cmake/exports.map )
    target_link_libraries( ${name} PRIVATE sipauth-library-code )
    target_include_directories( ${name} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}> )
    # A library's calls of its own exported functions are bound when it is linked: nothing may take their place.
    target_link_options( ${name} PRIVATE -Wl,--version-script=${map} -Wl,-Bsymbolic-functions )
    # An instrumented library takes its run-time support from the program that loads it.
    if( NOT SIPAUTH_SANITIZE AND NOT SIPAUTH_BUILD_FUZZ )
        target_link_options( ${name} PRIVATE -Wl,--no-undefined )
    endif()
    set_target_properties( ${name} PROPERTIES VERSION 4.2 SOVERSION 4 LINK_DEPENDS ${map}
        INSTALL_RPATH "$ORIGIN" SIPAUTH_MODULES "${arg_MODULES}" )
endfunction()

# sipauth_add_test( NAME [SOURCES ...] [LIBRARIES ...] ): one GoogleTest program, run by CTest as NAME. Its main program
# checks after each test that no object is left alive.
function( sipauth_add_test name )
    cmake_parse_arguments( arg "" "" "SOURCES;LIBRARIES" ${ARGN} )
    add_executable( ${name}_test ${arg_SOURCES} )
    target_link_libraries( ${name}_test PRIVATE ${arg_LIBRARIES} sipauth-test-support sipauth-common )
    if( SIPAUTH_PRECOMPILE_TESTS )
        target_precompile_headers( ${name}_test REUSE_FROM sipauth-test-support )
    endif()
    add_test( NAME ${name} COMMAND ${name}_test --gtest_brief=1 )
endfunction()

# sipauth_install_program( TARGET ): installs a program, which finds the libraries of its own installed tree.
function( sipauth_install_program target )
    file( RELATIVE_PATH bin_to_lib /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR} )
    set_target_properties( ${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}" )
    install( TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime )
endfunction()
