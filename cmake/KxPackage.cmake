# Packages, made by `cpack` in the build folder: an archive and Debian packages on Linux, an installer on macOS (where
# these settings have not been tried).

set(CPACK_PACKAGE_NAME kxlogreport)
set(CPACK_PACKAGE_VENDOR "KxLogReport developers")
set(CPACK_PACKAGE_CONTACT "KxLogReport developers <kxlogreport@example.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_README "${PROJECT_SOURCE_DIR}/README.md")
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL tool dev)
set(CPACK_COMPONENT_TOOL_DESCRIPTION "The tool, to be put beside the client")
set(CPACK_COMPONENT_DEV_DESCRIPTION "The logging module, for building the client")

if(APPLE)
    set(CPACK_GENERATOR TGZ productbuild)
    set(CPACK_PRODUCTBUILD_IDENTIFIER com.example.kxlogreport)
    # The client looks for the tool in its own bundle: the installer only carries the files there.
    set(CPACK_PACKAGING_INSTALL_PREFIX "/Applications/KxClient.app/Contents/MacOS")
    set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/packaging/copyright.txt")
else()
    set(CPACK_GENERATOR TGZ DEB)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
endif()

set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/packaging/debian_docs.cmake")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME kxlogreport)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkxlog-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS qtbase5-dev)
if(KX_QT_MAJOR EQUAL 6)
    set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS qt6-base-dev)
endif()
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)

include(CPack)
