# tvsi_add_test(NAME SOURCES file... [LIBRARIES target...] [TIMEOUT seconds] [SERIAL] [LABEL label])
#
# A GoogleTest program; each of its tests is one CTest test in a process of its own. LIBRARIES
# defaults to tvsi_internal; a program that goes through the exported functions names tvsi instead
# (never both: the objects would exist twice). SERIAL keeps its tests from running beside others. LABEL is that
# of the tests; the target LABEL_tests builds all programs that have it.
#
# tvsi_add_command_test(NAME COMMAND command... [TIMEOUT seconds] [SERIAL] [LABEL label]
#     [ENVIRONMENT VARIABLE=VALUE...])
#
# A command that fails by its exit status; 77 skips it.
#
# TIMEOUT is 60 seconds unless given; instrumented builds get four times as much.

find_package(GTest REQUIRED)
# Debian's interpreter, which has the modules that scripts/lib.sh installs.
find_program(TVSI_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH)
find_program(TVSI_PYTHON python3 REQUIRED)
include(GoogleTest)

function(tvsi_test_properties result timeout serial)
    if(NOT timeout)
        set(timeout 60)
    endif()
    if(TVSI_SANITIZE OR TVSI_COVERAGE)
        math(EXPR timeout "${timeout} * 4")
    endif()
    set(${result} TIMEOUT ${timeout} RUN_SERIAL ${serial} PARENT_SCOPE)
endfunction()

function(tvsi_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SERIAL" "TIMEOUT;LABEL" "SOURCES;LIBRARIES")
    if(NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "tvsi_add_test(${name}): wrong arguments ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_LIBRARIES)
        set(arg_LIBRARIES tvsi_internal)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} GTest::gmock GTest::gtest_main)
    tvsi_test_properties(properties "${arg_TIMEOUT}" ${arg_SERIAL})
    if(arg_LABEL)
        if(NOT TARGET ${arg_LABEL}_tests)
            add_custom_target(${arg_LABEL}_tests)
        endif()
        add_dependencies(${arg_LABEL}_tests ${name})
        list(APPEND properties LABELS ${arg_LABEL})
    endif()
    gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
endfunction()

function(tvsi_add_command_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "SERIAL" "TIMEOUT;LABEL" "COMMAND;ENVIRONMENT")
    if(NOT arg_COMMAND OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR
            "tvsi_add_command_test(${name}): wrong arguments ${arg_UNPARSED_ARGUMENTS}")
    endif()
    add_test(NAME ${name} COMMAND ${arg_COMMAND})
    tvsi_test_properties(properties "${arg_TIMEOUT}" ${arg_SERIAL})
    set_tests_properties(${name} PROPERTIES ${properties} SKIP_RETURN_CODE 77 LABELS "${arg_LABEL}"
        ENVIRONMENT "${arg_ENVIRONMENT}")
endfunction()
