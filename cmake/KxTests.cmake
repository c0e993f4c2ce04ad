# How the tests of this project are declared.

# What a run must not take over from whoever starts it. Qt treats empty variables like absent ones.
set(kx_test_environment
    LANG=C.UTF-8 LC_ALL= QT_LOGGING_RULES= QT_MESSAGE_PATTERN=
    XDG_CONFIG_HOME= XDG_CONFIG_DIRS= XDG_DATA_HOME= XDG_CACHE_HOME=)

# kx_add_test(<name> [SOURCES <source>...] [LIBRARIES <library>...] [PORTS <port>...] [TIMEOUT <seconds>]
#             [LABELS quick|long...])
#
# A Qt Test program with a home of its own. SOURCES defaults to <name>.cpp, TIMEOUT to 120 and LABELS to quick.
# LIBRARIES come on top of the test support. PORTS are fixed ports that the program listens on or expects to be unused;
# programs that share one never run at the same time.
function(kx_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES;PORTS;LABELS")
    if(arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "kx_add_test(${name}): unknown arguments ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_SOURCES)
        set(arg_SOURCES ${name}.cpp)
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    if(NOT arg_LABELS)
        set(arg_LABELS quick)
    endif()
    list(TRANSFORM arg_PORTS PREPEND kx-port-)

    add_executable(${name} ${arg_SOURCES})
    kx_configure_qt_target(${name})
    # Qt declares QSKIP("reason") in a way that C++17 does not have yet.
    target_compile_options(${name} PRIVATE
        $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wno-gnu-zero-variadic-macro-arguments>)
    # The tests wait more than they compute; optimising them would take longer than running them faster saves. What they
    # test is a library or a program, which is optimised.
    target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O0>)
    target_link_libraries(${name} PRIVATE kxtestsupport ${arg_LIBRARIES})

    set(home "${CMAKE_CURRENT_BINARY_DIR}/home/${name}")
    file(MAKE_DIRECTORY "${home}")
    # Qt Test ends a single test function after five minutes unless told otherwise; CTest has the program's limit.
    math(EXPR function_timeout "${arg_TIMEOUT} * 1000")
    set(environment HOME=${home} QTEST_FUNCTION_TIMEOUT=${function_timeout} ${kx_test_environment})
    if(KX_SANITIZERS)
        # A finding must not end in an ordinary exit status, which a skipped test in the same program would hide.
        list(APPEND environment
            ASAN_OPTIONS=abort_on_error=1 UBSAN_OPTIONS=abort_on_error=1:print_stacktrace=1 TSAN_OPTIONS=abort_on_error=1
            LSAN_OPTIONS=suppressions='${PROJECT_SOURCE_DIR}/tests/lsan.supp':print_suppressions=0)
    endif()
    if(APPLE)
        list(APPEND environment CFFIXED_USER_HOME=${home})
    endif()

    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "${environment}"
        TIMEOUT ${arg_TIMEOUT}
        LABELS "${arg_LABELS}"
        RESOURCE_LOCK "${arg_PORTS}"
        # A program that skipped a test shows as skipped, but only if nothing in it failed: this expression has
        # precedence over the exit status.
        SKIP_REGULAR_EXPRESSION "Totals: [0-9]+ passed, 0 failed, [1-9][0-9]* skipped")
endfunction()
