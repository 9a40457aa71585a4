# What `cmake --install` puts in place: the shared libraries, the public headers, a CMake package and a pkg-config file
# for each library. The installed tree may be moved as a whole: everything in it finds the rest by relative paths.
include( CMakePackageConfigHelpers )

set( sipauth_package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/sipauth )
set( sipauth_pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig )

install( DIRECTORY ${PROJECT_SOURCE_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h" PATTERN "*.hh" )

# sipauth_install_library( TARGET EXPORT_NAME ): TARGET becomes sipauth::EXPORT_NAME of the package and TARGET.pc.
function( sipauth_install_library target name )
    set_target_properties( ${target} PROPERTIES EXPORT_NAME ${name} )
    install( TARGETS ${target} EXPORT sipauth-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development )
    file( RELATIVE_PATH pkgconfig_to_prefix /prefix/${sipauth_pkgconfig_folder} /prefix )
    configure_file( ${PROJECT_SOURCE_DIR}/cmake/${target}.pc.in ${PROJECT_BINARY_DIR}/cmake/${target}.pc @ONLY )
    install( FILES ${PROJECT_BINARY_DIR}/cmake/${target}.pc DESTINATION ${sipauth_pkgconfig_folder}
        COMPONENT development )
endfunction()

sipauth_install_library( sipauth-platform platform )
sipauth_install_library( sipauth-usr-sqlite usr-sqlite )
sipauth_install_library( sipauth-usr-postgres usr-postgres )
if( TARGET sipauth )
    sipauth_install_library( sipauth sipauth )
endif()
sipauth_install_library( sipauth-cs-toml cs-toml )
sipauth_install_library( sipauth-host host )

install( EXPORT sipauth-targets NAMESPACE sipauth:: DESTINATION ${sipauth_package_folder} COMPONENT development )
configure_package_config_file( ${PROJECT_SOURCE_DIR}/cmake/sipauth-config.cmake.in
    ${PROJECT_BINARY_DIR}/cmake/sipauth-config.cmake INSTALL_DESTINATION ${sipauth_package_folder}
    NO_SET_AND_CHECK_MACRO )
write_basic_package_version_file( ${PROJECT_BINARY_DIR}/cmake/sipauth-config-version.cmake
    COMPATIBILITY SameMajorVersion )
install( FILES ${PROJECT_BINARY_DIR}/cmake/sipauth-config.cmake
    ${PROJECT_BINARY_DIR}/cmake/sipauth-config-version.cmake
    DESTINATION ${sipauth_package_folder} COMPONENT development )
