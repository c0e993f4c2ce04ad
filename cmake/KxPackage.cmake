# Packages, made by `cpack` in the build folder: an archive with the tool for whoever ships the client and, where there is
# dpkg, the Debian package of the logging module for whoever builds it. packaging/cpack.cmake says which takes in what.

set(CPACK_PACKAGE_NAME kxlogreport)
set(CPACK_PACKAGE_VENDOR "KxLogReport developers")
set(CPACK_PACKAGE_CONTACT "KxLogReport developers <kxlogreport@example.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/packaging/cpack.cmake")
set(CPACK_KX_LOOPBACK_ENDPOINTS ${kx_loopback_endpoints})

set(CPACK_GENERATOR TGZ)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)

find_program(KX_DPKG dpkg DOC "Where it is, cpack makes the Debian package of the logging module")
# On a Mac it may be there, but its packages are for nobody.
if(KX_DPKG AND KX_INSTALL AND NOT APPLE)
    list(APPEND CPACK_GENERATOR DEB)
    set(CPACK_DEB_COMPONENT_INSTALL ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_NAME libkxlog-dev)
    set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
    set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Writes every Qt message to a file, one for each run, and prunes old ones.")
    # Archives and headers have no dependencies that could be read out of them.
    set(CPACK_DEBIAN_PACKAGE_DEPENDS qtbase5-dev)
    if(KX_QT_MAJOR EQUAL 6)
        set(CPACK_DEBIAN_PACKAGE_DEPENDS qt6-base-dev)
    endif()

    configure_file(packaging/changelog.txt.in "${PROJECT_BINARY_DIR}/generated/changelog" @ONLY)
    # -n leaves the time out, so that the same sources make the same package.
    execute_process(COMMAND gzip -9 -n -c "${PROJECT_BINARY_DIR}/generated/changelog"
        OUTPUT_FILE "${PROJECT_BINARY_DIR}/generated/changelog.gz" RESULT_VARIABLE kx_gzip)
    if(NOT kx_gzip EQUAL 0)
        message(FATAL_ERROR "The package's changelog cannot be compressed: ${kx_gzip}")
    endif()
    install(FILES packaging/copyright.txt RENAME copyright
        DESTINATION share/doc/libkxlog-dev COMPONENT debian EXCLUDE_FROM_ALL)
    install(FILES "${PROJECT_BINARY_DIR}/generated/changelog.gz"
        DESTINATION share/doc/libkxlog-dev COMPONENT debian EXCLUDE_FROM_ALL)
endif()

include(CPack)
