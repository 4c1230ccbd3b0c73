# The programs, the two libraries and what a host of somebody else's needs to be built against them.
include(CMakePackageConfigHelpers)
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/StorageDevices)
set(headerDir ${CMAKE_INSTALL_INCLUDEDIR}/storagedevices)

install(TARGETS storagedevices RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS StorageDevicesRuntime StorageDevices EXPORT StorageDevicesTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${headerDir}
        FILE_SET HEADERS DESTINATION ${headerDir})
install(EXPORT StorageDevicesTargets NAMESPACE StorageDevices:: DESTINATION ${packageDir})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/StorageDevicesConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/StorageDevicesConfig.cmake INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/StorageDevicesConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/StorageDevicesConfig.cmake ${PROJECT_BINARY_DIR}/StorageDevicesConfigVersion.cmake
        DESTINATION ${packageDir})

# The .pc file finds its prefix from where it lies: <libdir>/pkgconfig.
file(RELATIVE_PATH pcToPrefix /x/${CMAKE_INSTALL_LIBDIR}/pkgconfig /x)
string(REGEX REPLACE "/$" "" pcToPrefix "${pcToPrefix}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/storagedevices.pc.in ${PROJECT_BINARY_DIR}/storagedevices.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/storagedevices.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
