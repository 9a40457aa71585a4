# The curated warnings. All of them hold for gcc 12 and clang 14; presets make them errors.
add_library( sipauth-warnings INTERFACE )
target_compile_options( sipauth-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wcast-align -Wformat=2 -Wundef -Wnull-dereference
    # A definition without its documented declaration does not build.
    -Wmissing-declarations
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi>
    $<$<AND:$<COMPILE_LANGUAGE:C>,$<C_COMPILER_ID:GNU,Clang>>:-Wstrict-prototypes -Wmissing-prototypes>
    # An object holder must never travel through an ellipsis.
    $<$<CXX_COMPILER_ID:GNU>:$<$<COMPILE_LANGUAGE:CXX>:-Wconditionally-supported>>
    # gcc 12 finds overlaps in the inlined code of std::string, where there are none.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:$<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>> )
if( SIPAUTH_WARNINGS_AS_ERRORS )
    target_compile_options( sipauth-warnings INTERFACE -Werror )
endif()
