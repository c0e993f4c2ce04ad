# The tool with other addresses than those of this build, for tests: addresses are constants of a build, and no setting
# can redirect a tool once it is built.

# kx_add_tool_variant(<suffix> [<constant> <value>]... [OPTIONS <compiler option>...])
#
# The target KxLogReport_<suffix>: the tool with a kxendpoints.h of its own. Each <constant> is one of the four that
# KxEndpoints.cmake describes; those not named keep this build's value. Values are taken as they are, without the checks
# that a shipped tool's addresses get. The program is called as the tool is, in a folder of its own.
#
# With OPTIONS all sources of the tool are compiled anew, with these on top; without, only those that know addresses.
function(kx_add_tool_variant suffix)
    set(name KxLogReport_${suffix})
    set(constants KX_LOG_SERVICE_URL KX_PRODUCER_URL KX_REPORT_API_URL KX_ERROR_GATEWAY_URL)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "${constants}" "OPTIONS")
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

    set(sources "")
    foreach(part IN ITEMS KxLogReport kxupload kxlog)
        get_target_property(part_sources ${part} SOURCES)
        get_target_property(part_folder ${part} SOURCE_DIR)
        list(TRANSFORM part_sources PREPEND "${part_folder}/")
        if(NOT arg_OPTIONS)
            list(FILTER part_sources INCLUDE REGEX "/(main|kxupload|kxlog)\\.cpp$")
        endif()
        list(APPEND sources ${part_sources})
    endforeach()
    add_executable(${name} ${sources})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/KxLogReport" "${folder}/generated")
    set_target_properties(${name} PROPERTIES
        MACOSX_BUNDLE OFF OUTPUT_NAME KxLogReport RUNTIME_OUTPUT_DIRECTORY "${folder}")
    if(arg_OPTIONS)
        kx_configure_qt_target(${name})
        set_target_properties(${name} PROPERTIES AUTOMOC ON)
        target_compile_options(${name} PRIVATE ${arg_OPTIONS})
        target_precompile_headers(${name} PRIVATE
            <QCoreApplication> <QDir> <QJsonDocument> <QNetworkAccessManager> <QNetworkReply> <QSettings> <memory>)
        target_link_libraries(${name} PRIVATE kxsysinfo Qt${KX_QT_MAJOR}::Core Qt${KX_QT_MAJOR}::Network)
    else()
        # The linker leaves the library's own objects with addresses out, as all that they offer is there already.
        kx_configure_test_target(${name})
        target_link_libraries(${name} PRIVATE kxupload)
    endif()
endfunction()

# kx_use_tool_variant(<test> <suffix>): builds the variant with the test and defines KX_TOOL_<SUFFIX>, the path of its
# program, for a Sandbox.
function(kx_use_tool_variant test suffix)
    string(TOUPPER "${suffix}" upper)
    target_compile_definitions(${test} PRIVATE "KX_TOOL_${upper}=\"$<TARGET_FILE:KxLogReport_${suffix}>\"")
    add_dependencies(${test} KxLogReport_${suffix})
endfunction()
