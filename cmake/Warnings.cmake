# The warnings of all targets; TVSI_WERROR makes them errors.

add_compile_options(
    -Wall -Wextra -Wpedantic
    -Wconversion -Wsign-conversion -Wshadow
    -Wcast-align -Wcast-qual -Wpointer-arith -Wundef -Wvla -Wwrite-strings
    # Date formats come from the environment and are checked before use, so they can't be literals.
    -Wformat=2 -Wno-format-nonliteral
    $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes>
    $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>
    $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations>
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wextra-semi>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wduplicated-cond>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wlogical-op>
)
if(TVSI_WERROR)
    add_compile_options(-Werror)
endif()
