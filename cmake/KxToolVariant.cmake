# The tool with other addresses than those of this build, for tests: addresses are constants of a build, and no setting
# can redirect a tool once it is built.

# kx_add_tool_variant(<suffix> [<constant> <value>]...)
#
# The target KxLogReport_<suffix>: the tool's sources compiled with a kxendpoints.h of their own. Each <constant> is one
# of the four that KxEndpoints.cmake describes; those not named keep this build's value. Values are taken as they are,
# without the checks that a shipped tool's addresses get. The program is called as the tool is, in a folder of its own.
function(kx_add_tool_variant suffix)
    set(name KxLogReport_${suffix})
    set(constants KX_LOG_SERVICE_URL KX_PRODUCER_URL KX_REPORT_API_URL KX_ERROR_GATEWAY_URL)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "${constants}" "")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "kx_add_tool_variant(${suffix}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
    endif()
    foreach(constant IN LISTS constants)
        if(DEFINED arg_${constant})
            set(${constant} "${arg_${constant}}")
        endif()
    endforeach()
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${name}")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/kxendpoints.h.in" "${folder}/generated/kxendpoints.h" @ONLY)

    # The two libraries whose sources include that header come in as sources, the rest as the tool links it.
    set(sources "")
    foreach(part IN ITEMS KxLogReport kxupload kxlog)
        get_target_property(part_sources ${part} SOURCES)
        get_target_property(part_folder ${part} SOURCE_DIR)
        list(TRANSFORM part_sources PREPEND "${part_folder}/")
        list(APPEND sources ${part_sources})
    endforeach()
    add_executable(${name} ${sources})
    kx_configure_qt_target(${name})
    target_include_directories(${name} PRIVATE "${folder}/generated")
    target_link_libraries(${name} PRIVATE kxsysinfo Qt5::Core Qt5::Network)
    set_target_properties(${name} PROPERTIES
        MACOSX_BUNDLE OFF OUTPUT_NAME KxLogReport RUNTIME_OUTPUT_DIRECTORY "${folder}")
endfunction()

# kx_use_tool_variant(<test> <suffix>): builds the variant with the test and defines KX_TOOL_<SUFFIX>, the path of its
# program, for a Sandbox.
function(kx_use_tool_variant test suffix)
    string(TOUPPER "${suffix}" upper)
    target_compile_definitions(${test} PRIVATE "KX_TOOL_${upper}=\"$<TARGET_FILE:KxLogReport_${suffix}>\"")
    add_dependencies(${test} KxLogReport_${suffix})
endfunction()
