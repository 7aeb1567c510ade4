# cmake --install: hostsh, the host libraries, veltra.so in the host's plug-in
# folder, the public headers, the examples, the viewer's page and the HostSDK
# CMake package for plug-in authors; cpack -G DEB packages the same tree.
if(NOT TARGET hostsh OR NOT TARGET veltra)
  return()
endif()
include(CMakePackageConfigHelpers)

# Run paths relative to each file, so that the tree works wherever it is moved.
set_target_properties(HostFoundation HostCore HostAnim PROPERTIES INSTALL_RPATH "$ORIGIN")
file(RELATIVE_PATH _bin_to_lib /${HOST_INSTALL_BINDIR} /${HOST_INSTALL_LIBDIR})
set_target_properties(hostsh PROPERTIES INSTALL_RPATH "$ORIGIN/${_bin_to_lib}")
file(RELATIVE_PATH _plugin_to_lib /${HOST_INSTALL_PLUGINDIR} /${HOST_INSTALL_LIBDIR})
set_target_properties(veltra PROPERTIES INSTALL_RPATH "$ORIGIN/${_plugin_to_lib}")

install(TARGETS HostFoundation HostCore HostAnim EXPORT HostSDKTargets
        LIBRARY DESTINATION ${HOST_INSTALL_LIBDIR})
install(TARGETS hostsh RUNTIME DESTINATION ${HOST_INSTALL_BINDIR})
install(TARGETS veltra LIBRARY DESTINATION ${HOST_INSTALL_PLUGINDIR})
install(DIRECTORY host/include/ DESTINATION ${HOST_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY examples/ DESTINATION ${HOST_INSTALL_DATADIR}/examples
        PATTERN "build*" EXCLUDE)
if(TARGET viewerPage)
  # hostsh --serve looks for its page in BIN/../share/viewer.
  install(DIRECTORY ${VIEWER_PAGE_DIR}/ DESTINATION share/viewer)
endif()

# find_package(HostSDK CONFIG), relocatable like the rest: every path in it is
# relative to the package's own folder.
install(EXPORT HostSDKTargets NAMESPACE Host:: FILE HostSDKTargets.cmake
        DESTINATION ${HOST_INSTALL_CMAKEDIR})
configure_package_config_file(cmake/HostSDKConfig.cmake.in
                              ${CMAKE_BINARY_DIR}/HostSDKConfig.cmake
                              INSTALL_DESTINATION ${HOST_INSTALL_CMAKEDIR}
                              PATH_VARS HOST_INSTALL_PLUGINDIR HOST_INSTALL_BINDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/HostSDKConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/HostSDKConfig.cmake ${CMAKE_BINARY_DIR}/HostSDKConfigVersion.cmake
              cmake/HostPlugin.cmake
        DESTINATION ${HOST_INSTALL_CMAKEDIR})

# The Debian package: the same tree under /usr, its dependencies worked out
# from the libraries the programs link.
set(CPACK_PACKAGE_NAME veltra)
set(CPACK_PACKAGE_VENDOR Quarrow)
set(CPACK_PACKAGE_CONTACT "Quarrow")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "veltra IK solver plug-in with its host: hostsh, the host libraries and the plug-in SDK")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "python3-numpy")
# Debug information stays in the build; the package is for running and building against.
set(CPACK_STRIP_FILES ON)
include(CPack)
