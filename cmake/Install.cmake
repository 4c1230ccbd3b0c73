# What is installed, in components that can be built (target component-NAME) and installed
# (cmake --install … --component NAME) alone:
#   library      the two libraries, and the filter for nvme that stands beside them
#   development  what a host of somebody else's needs to be built against the library, and the simulated unit for its tests
#   agent        the daemon and the command, with manual, journal catalogue and examples; needs library
#   demo         the story that the simulated unit plays; needs agent
include(CMakePackageConfigHelpers)
set(packageDir ${CMAKE_INSTALL_LIBDIR}/cmake/StorageDevices)
set(headerDir ${CMAKE_INSTALL_INCLUDEDIR}/storagedevices)
set(programDir ${CMAKE_INSTALL_LIBEXECDIR}/storagedevices)

install(TARGETS StorageDevicesRuntime StorageDevices EXPORT StorageDevicesTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${headerDir}
        FILE_SET HEADERS DESTINATION ${headerDir} COMPONENT development)
install(TARGETS nvme-compat RUNTIME DESTINATION ${programDir}/compat COMPONENT library)
install(TARGETS SimulatedUnit Base EXPORT StorageDevicesSimulatedUnitTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
        INCLUDES DESTINATION ${headerDir}
        FILE_SET HEADERS DESTINATION ${headerDir} COMPONENT development)
install(TARGETS storagedevices RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT agent)
install(TARGETS agent RUNTIME DESTINATION ${programDir} COMPONENT agent)
foreach(example alertmanager cron grafana icinga nginx prometheus rsyslog stunnel tls)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/deploy/${example}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/storagedevices/examples USE_SOURCE_PERMISSIONS COMPONENT agent)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/deploy/bash-completion/storagedevices
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT agent)
install(TARGETS storagedevices-demo RUNTIME DESTINATION ${programDir} COMPONENT demo)

add_custom_target(component-library DEPENDS StorageDevicesRuntime StorageDevices nvme-compat)
add_custom_target(component-development DEPENDS component-library SimulatedUnit)
add_custom_target(component-agent DEPENDS component-library storagedevices agent manual)
add_custom_target(component-demo DEPENDS component-agent storagedevices-demo)
# Enough for `cmake --install` of all.
add_custom_target(installed DEPENDS component-development component-demo)

foreach(targets StorageDevicesTargets StorageDevicesSimulatedUnitTargets)
  install(EXPORT ${targets} NAMESPACE StorageDevices:: DESTINATION ${packageDir} COMPONENT development)
endforeach()
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/StorageDevicesConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/StorageDevicesConfig.cmake INSTALL_DESTINATION ${packageDir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/StorageDevicesConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/StorageDevicesConfig.cmake ${PROJECT_BINARY_DIR}/StorageDevicesConfigVersion.cmake
        DESTINATION ${packageDir} COMPONENT development)

# The .pc file finds its prefix from where it lies: <libdir>/pkgconfig.
file(RELATIVE_PATH pcToPrefix /x/${CMAKE_INSTALL_LIBDIR}/pkgconfig /x)
string(REGEX REPLACE "/$" "" pcToPrefix "${pcToPrefix}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/storagedevices.pc.in ${PROJECT_BINARY_DIR}/storagedevices.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/storagedevices.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# The service. systemd reads the units of /usr, /usr/local and /etc.
set(STORAGEDEVICES_UNIT_DIR lib/systemd/system CACHE STRING "Folder of the service's unit, absolute or below the prefix")
set(unit ${PROJECT_BINARY_DIR}/storagedevices.service)
configure_file(${PROJECT_SOURCE_DIR}/deploy/systemd/storagedevices.service.in ${unit} @ONLY)
install(FILES ${unit} DESTINATION ${STORAGEDEVICES_UNIT_DIR} COMPONENT agent)
foreach(kind sysusers tmpfiles)
  install(FILES ${PROJECT_SOURCE_DIR}/deploy/systemd/storagedevices.${kind} DESTINATION lib/${kind}.d RENAME storagedevices.conf
          COMPONENT agent)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/deploy/storagedevices.toml DESTINATION ${CMAKE_INSTALL_DATADIR}/storagedevices COMPONENT agent)
