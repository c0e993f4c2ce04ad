# What `cmake --install` puts where. An installation takes in the logging module for whoever builds the client, component
# "dev". What the vendor ships has to be asked for: component "tool" is the program alone, directly in the prefix, since
# that is the folder of the client's programs and the program looks for its list beside itself; "documents" is what
# accompanies it in the archive.

include(CMakePackageConfigHelpers)

option(KX_INSTALL "Install the tool and the logging module" ${kx_top_level})
set(KX_SIGN_COMMAND "" CACHE STRING
    "Command with its arguments, as a list, that signs the installed tool, whose path it gets as one argument more")
if(NOT KX_INSTALL)
    return()
endif()

install(TARGETS KxLogReport RUNTIME DESTINATION . COMPONENT tool EXCLUDE_FROM_ALL)
if(KX_SIGN_COMMAND)
    # Here, since stripping and the change of the run path end a signature.
    install(CODE "
        set(sign \"${KX_SIGN_COMMAND}\")
        execute_process(COMMAND \${sign} \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/KxLogReport\" RESULT_VARIABLE status)
        if(NOT status EQUAL 0)
            message(FATAL_ERROR \"The tool is not signed: \${status}\")
        endif()" COMPONENT tool EXCLUDE_FROM_ALL)
endif()
install(FILES packaging/copyright.txt docs/KxLogReport.1 docs/upload-ini.md docs/logging.md
    DESTINATION . COMPONENT documents EXCLUDE_FROM_ALL)

set(kx_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/KxLog")
install(TARGETS kxlog kxsysinfo EXPORT KxLogTargets ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev)
install(FILES KxLogReport/kxlog/kxlog.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kxlog" COMPONENT dev)
install(EXPORT KxLogTargets NAMESPACE KxLog:: DESTINATION "${kx_package_dir}" COMPONENT dev)
configure_package_config_file(cmake/KxLogConfig.cmake.in "${PROJECT_BINARY_DIR}/KxLogConfig.cmake"
    INSTALL_DESTINATION "${kx_package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/KxLogConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KxLogConfig.cmake" "${PROJECT_BINARY_DIR}/KxLogConfigVersion.cmake"
    DESTINATION "${kx_package_dir}" COMPONENT dev)

# Relative to its own place: the prefix is known only when it is installed, and an installation may be moved.
set(kx_pc_dir "${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH kx_pc_prefix "${kx_pc_dir}" "${CMAKE_INSTALL_PREFIX}")
string(REGEX REPLACE "/$" "" kx_pc_prefix "${kx_pc_prefix}")
set(kx_pc_libs "")
if(APPLE)
    set(kx_pc_libs " -framework IOKit -framework DiskArbitration")
endif()
configure_file(cmake/kxlog.pc.in "${PROJECT_BINARY_DIR}/kxlog.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/kxlog.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
