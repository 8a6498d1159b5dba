# What makes a fault in the library or a program hard to use for more than a crash, and what keeps the
# place and time of a build out of its files.

add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection=full
    $<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fPIE>)
# Shadow stacks suit all of the code, so the mark for them is set although start-up code and archives
# of the system lack it. Indirect branches into those would fail: that mark is the linker's to set.
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,-z,shstk
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
if(NOT TVSI_SANITIZE AND NOT TVSI_COVERAGE) # without optimisation there is nothing to check
    add_compile_options($<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
        $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
endif()

# Names in messages, assertions and debug information are relative to the repository.
if(TVSI_COVERAGE) # the report looks for the sources where they were
    add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
else()
    add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=
        -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
endif()
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
foreach(language C CXX) # no time stamps and owners
    set(CMAKE_${language}_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
    set(CMAKE_${language}_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
    set(CMAKE_${language}_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")
endforeach()
