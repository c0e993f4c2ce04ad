# How the tests of this project are declared.

set(kx_isolated "${PROJECT_SOURCE_DIR}/tests/isolated.sh")
if(NOT DEFINED KX_TEST_NETWORKS)
    execute_process(COMMAND "${kx_isolated}" --network true RESULT_VARIABLE kx_no_networks OUTPUT_QUIET ERROR_QUIET)
    if(kx_no_networks EQUAL 0)
        set(kx_networks ON)
    else()
        set(kx_networks OFF)
    endif()
endif()
option(KX_TEST_NETWORKS "Run each test in a network of its own, so that all may run at once; without, tests that share \
a port wait for each other. The default is what this system allows." ${kx_networks})

if(KX_TEST_NETWORKS)
    list(APPEND kx_isolated --network)
endif()

# What a run must not take over from whoever starts it. Qt treats empty variables like absent ones.
set(kx_test_environment
    LANG=C.UTF-8 LC_ALL= QT_LOGGING_RULES= QT_MESSAGE_PATTERN=
    XDG_CONFIG_HOME= XDG_CONFIG_DIRS= XDG_DATA_HOME= XDG_CACHE_HOME=)
# How many times longer than usual things may take.
set(kx_slowdown 1)
if(KX_SANITIZERS)
    set(kx_slowdown 4)
    # A finding must not end in an ordinary exit status, which a skipped test in the same program would hide. A list that
    # claims to be huge is refused by the allocator, as it is without sanitizers, and no finding.
    list(APPEND kx_test_environment
        ASAN_OPTIONS=abort_on_error=1:detect_stack_use_after_return=1:allocator_may_return_null=1
        UBSAN_OPTIONS=abort_on_error=1:print_stacktrace=1
        TSAN_OPTIONS=abort_on_error=1:halt_on_error=1:suppressions='${PROJECT_SOURCE_DIR}/tests/tsan.supp'
        LSAN_OPTIONS=suppressions='${PROJECT_SOURCE_DIR}/tests/lsan.supp':print_suppressions=0)
endif()

# The shadow memory of this one has a fixed place, where a system that spreads addresses widely may put something else.
if(KX_SANITIZERS STREQUAL "thread")
    execute_process(COMMAND setarch --addr-no-randomize true
        RESULT_VARIABLE kx_fixed_addresses OUTPUT_QUIET ERROR_QUIET)
    if(kx_fixed_addresses EQUAL 0)
        list(APPEND kx_isolated setarch --addr-no-randomize)
    endif()
endif()

# Programs of tests are many and small: what takes the linker longest is the linker's own start.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    find_program(KX_FAST_LINKER NAMES ld.lld ld.gold DOC "Links the tests; the usual linker when there is none")
endif()

# kx_configure_test_target(<target> [<headers>]): kx_configure_qt_target() for a program or library of the tests, with the
# precompiled headers of kx_add_test_headers() that it is given, or those of Qt.
function(kx_configure_test_target target)
    kx_configure_qt_target(${target})
    # Qt declares QSKIP("reason") in a way that C++17 does not have yet.
    target_compile_options(${target} PRIVATE
        $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wno-gnu-zero-variadic-macro-arguments>)
    # The tests wait more than they compute; optimising them would take longer than running them faster saves. What they
    # test is a library or a program, which is optimised.
    target_compile_options(${target} PRIVATE -O0)
    if(KX_FAST_LINKER MATCHES "ld\\.([a-z]+)$")
        target_link_options(${target} PRIVATE -fuse-ld=${CMAKE_MATCH_1})
    endif()
    # The compiler takes precompiled headers only for sources that have the same definitions. Those in which Qt 6 tells
    # each test its own folders serve nobody here.
    target_compile_options(${target} PRIVATE -UQT_TESTCASE_BUILDDIR -UQT_TESTCASE_SOURCEDIR)
    target_compile_definitions(${target} PRIVATE $<TARGET_PROPERTY:Qt${KX_QT_MAJOR}::Test,INTERFACE_COMPILE_DEFINITIONS>)
    target_include_directories(${target} SYSTEM PRIVATE $<TARGET_PROPERTY:Qt${KX_QT_MAJOR}::Test,INTERFACE_INCLUDE_DIRECTORIES>)
    set(headers kxtestheaders)
    if(ARGC GREATER 1)
        set(headers ${ARGV1})
    endif()
    if(NOT target STREQUAL headers)
        target_precompile_headers(${target} REUSE_FROM ${headers})
    endif()
endfunction()

# kx_add_test_headers(<name> <library> <header>...): has those headers compiled, and what most tests include; with all of
# Qt among them each test would take a quarter longer. Parsing them is most of what compiling a test takes.
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/generated/kxtestheaders.cpp"
    CONTENT "// Only here to have the headers compiled.\n")
function(kx_add_test_headers name library)
    add_library(${name} OBJECT "${PROJECT_BINARY_DIR}/generated/kxtestheaders.cpp")
    kx_configure_test_target(${name} ${name})
    target_link_libraries(${name} PRIVATE Qt${KX_QT_MAJOR}::Core Qt${KX_QT_MAJOR}::Network ${library})
    target_precompile_headers(${name} PRIVATE
        <QDateTime> <QDebug> <QDir> <QNetworkReply> <QProcess> <QRegularExpression> <QSettings> <QTcpSocket>
        <QTemporaryDir> <QTest> <QTimer> <functional> <memory> ${ARGN})
endfunction()
kx_add_test_headers(kxtestheaders Qt${KX_QT_MAJOR}::Test)

# kx_add_test(<name> [SOURCES <source>...] [LIBRARIES <library>...] [PORTS <port>...] [TIMEOUT <seconds>]
#             [LABELS quick|long...] [HEADERS <headers>])
#
# A Qt Test program with a home of its own. SOURCES defaults to <name>.cpp, TIMEOUT to 300 (four times as long under
# sanitizers) and LABELS to quick, which the name of the folder joins. LIBRARIES come on top of the test support, HEADERS
# (see kx_add_test_headers()) in place of kxtestheaders. PORTS are fixed ports that the program listens on or expects to be
# unused; programs that share one never run at the same time, unless each has a network of its own. The first source may
# hold classes with Q_OBJECT, and then includes <name of the source>.moc.
function(kx_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT;HEADERS" "SOURCES;LIBRARIES;PORTS;LABELS")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "kx_add_test(${name}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_SOURCES)
        set(arg_SOURCES ${name}.cpp)
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 300)
    endif()
    if(NOT arg_LABELS)
        set(arg_LABELS quick)
    endif()

    # One call of moc for the one source that needs it: AUTOMOC would look through everything for each program.
    list(GET arg_SOURCES 0 source)
    get_filename_component(moc "${source}" NAME_WE)
    set(moc "${CMAKE_CURRENT_BINARY_DIR}/${name}_moc/${moc}.moc")
    if(KX_QT_MAJOR EQUAL 5)
        qt5_generate_moc("${source}" "${moc}")
    else()
        qt_generate_moc("${source}" "${moc}")
    endif()

    add_executable(${name} ${arg_SOURCES} "${moc}")
    kx_configure_test_target(${name} ${arg_HEADERS})
    target_include_directories(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${name}_moc")
    target_link_libraries(${name} PRIVATE kxtestsupport ${arg_LIBRARIES})

    get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * ${kx_slowdown}")
    # Qt Test ends a single test function after five minutes unless told otherwise; CTest has the program's limit.
    math(EXPR function_timeout "${arg_TIMEOUT} * 1000")
    add_test(NAME ${name} COMMAND ${kx_isolated} $<TARGET_FILE:${name}>)
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "QTEST_FUNCTION_TIMEOUT=${function_timeout};${kx_test_environment}"
        TIMEOUT ${arg_TIMEOUT}
        LABELS "${arg_LABELS};${folder}"
        # A program that skipped a test shows as skipped, but only if nothing in it failed: this expression has
        # precedence over the exit status.
        SKIP_REGULAR_EXPRESSION "Totals: [0-9]+ passed, 0 failed, [1-9][0-9]* skipped")
    if(NOT KX_TEST_NETWORKS)
        list(TRANSFORM arg_PORTS PREPEND kx-port-)
        set_tests_properties(${name} PROPERTIES RESOURCE_LOCK "${arg_PORTS}")
    endif()
endfunction()
