# tvsi_add_fuzzer(NAME SOURCES file... [RUNS count] [LIBRARIES target...])
#
# A libFuzzer program over the library's internals, with its seeds in seeds/NAME. Its test runs every
# seed and then RUNS inputs made from them (20,000 unless given), the same ones each time;
# scripts/fuzz.sh runs it for longer. The target `fuzzers` builds all.

add_custom_target(fuzzers)

function(tvsi_add_fuzzer name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "RUNS" "SOURCES;LIBRARIES")
    if(NOT arg_SOURCES OR arg_UNPARSED_ARGUMENTS)
        message(FATAL_ERROR "tvsi_add_fuzzer(${name}): wrong arguments ${arg_UNPARSED_ARGUMENTS}")
    endif()
    if(NOT arg_RUNS)
        set(arg_RUNS 20000)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE tvsi_internal tvsi_testing ${arg_LIBRARIES})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    add_dependencies(fuzzers ${name})

    # libFuzzer keeps inputs in the first directory that it is given. Each run begins with an empty
    # one: the seeds stay as they are and a run does not depend on the one before.
    set(kept ${CMAKE_CURRENT_BINARY_DIR}/${name}.kept)
    add_test(NAME ${name} COMMAND sh -c "rm -rf '${kept}' && mkdir '${kept}' && exec \"$@\"" sh
        $<TARGET_FILE:${name}> -runs=${arg_RUNS} -seed=1 -timeout=10
        -artifact_prefix=${CMAKE_CURRENT_BINARY_DIR}/${name}.finding-
        ${kept} ${CMAKE_CURRENT_SOURCE_DIR}/seeds/${name})
    set_tests_properties(${name} PROPERTIES LABELS fuzz TIMEOUT 300)
endfunction()
