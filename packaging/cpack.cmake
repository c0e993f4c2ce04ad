# Read by cpack for each kind of package.

if(CPACK_KX_LOOPBACK_ENDPOINTS AND NOT KX_PACKAGE_LOOPBACK)
    list(JOIN CPACK_KX_LOOPBACK_ENDPOINTS ", " endpoints)
    message(FATAL_ERROR "Nothing is packed: these addresses stay on the machine that runs the tool: ${endpoints}. "
        "Configure with real ones, or call cpack with -D KX_PACKAGE_LOOPBACK=ON if that is meant.")
endif()

if(CPACK_GENERATOR STREQUAL "DEB")
    set(CPACK_COMPONENTS_ALL dev debian)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Logging module for clients of KxLogReport")
else()
    set(CPACK_COMPONENTS_ALL tool documents)
    set(CPACK_PACKAGING_INSTALL_PREFIX /)
    set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
endif()
