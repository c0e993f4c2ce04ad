# What `cmake --install` puts where. Two components: "tool" is what the vendor ships beside the client, "dev" is the
# logging module for whoever builds the client.

include(CMakePackageConfigHelpers)

option(KX_INSTALL "Install the tool and the logging module" ${kx_top_level})
if(NOT KX_INSTALL)
    return()
endif()

install(TARGETS KxLogReport RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tool)
install(FILES docs/KxLogReport.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tool)

set(kx_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/KxLog")
install(TARGETS kxlog kxsysinfo EXPORT KxLogTargets ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev)
install(FILES KxLogReport/kxlog/kxlog.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kxlog" COMPONENT dev)
install(EXPORT KxLogTargets NAMESPACE KxLog:: DESTINATION "${kx_package_dir}" COMPONENT dev)
configure_package_config_file(cmake/KxLogConfig.cmake.in "${PROJECT_BINARY_DIR}/KxLogConfig.cmake"
    INSTALL_DESTINATION "${kx_package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/KxLogConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KxLogConfig.cmake" "${PROJECT_BINARY_DIR}/KxLogConfigVersion.cmake"
    DESTINATION "${kx_package_dir}" COMPONENT dev)
