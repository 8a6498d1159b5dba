# Sanitizers, coverage counters and fuzzer coverage apply to every object of a build tree, so that
# no uninstrumented code hides a finding.

if(TVSI_SANITIZE)
    # Instrumented code of the standard library looks uninitialised to gcc 12 where it isn't.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_compile_options(-fsanitize=${TVSI_SANITIZE} -fno-sanitize-recover=all
        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${TVSI_SANITIZE})
endif()

if(TVSI_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "The fuzzers need clang: configure with the preset 'fuzz'.")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(TVSI_COVERAGE)
    # Atomic counters: queries and watcher threads run the same lines at once.
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
