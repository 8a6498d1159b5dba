# Where files are installed, and in which component:
#   library      the shared library
#   development  headers, the link libtvsi.so, the catalogue, tvsi.pc, the CMake package, tvsi(3)
#   programs     tvsistat, tvsi-reader and tvxstandin with completions, manual pages and the
#                recorder's unit
#   exporter     tvsi-exporter with its manual page, units, alerts and examples
#   python       the Python package
#   doc          pages and examples
# The target `uninstall` removes what was installed from this build with the same DESTDIR.

include(GNUInstallDirs)

# An absolute folder under the prefix is the same as a relative one, and then the tree can be moved.
foreach(folder BINDIR LIBDIR INCLUDEDIR DATADIR MANDIR DOCDIR)
    set(path "${CMAKE_INSTALL_${folder}}")
    cmake_path(IS_PREFIX CMAKE_INSTALL_PREFIX "${path}" NORMALIZE is_below)
    if(is_below)
        cmake_path(RELATIVE_PATH path BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
        set(CMAKE_INSTALL_${folder} "${path}")
    endif()
endforeach()

# What tvsi.pc calls the prefix, LIBDIR and INCLUDEDIR: by its own place, as long as LIBDIR is under
# the prefix. pkg-config takes a blank that isn't escaped for the end of a flag.
set(TVSI_PREFIX_FOR_PKGCONFIG "${CMAKE_INSTALL_PREFIX}")
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
        BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        OUTPUT_VARIABLE path)
    set(TVSI_PREFIX_FOR_PKGCONFIG "\${pcfiledir}/${path}")
endif()
foreach(folder LIBDIR INCLUDEDIR)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_${folder} BASE_DIRECTORY "\${prefix}"
        OUTPUT_VARIABLE TVSI_${folder}_FOR_PKGCONFIG)
endforeach()
foreach(folder PREFIX LIBDIR INCLUDEDIR)
    string(REPLACE " " "\\ " TVSI_${folder}_FOR_PKGCONFIG "${TVSI_${folder}_FOR_PKGCONFIG}")
endforeach()

# Call it behind the last rule: writes down what was installed.
function(tvsi_add_uninstall)
    set(record ${PROJECT_BINARY_DIR}/installed.txt)
    install(CODE "foreach(file IN LISTS CMAKE_INSTALL_MANIFEST_FILES)
    file(APPEND [[${record}]] \"\$ENV{DESTDIR}\\t\${file}\\n\")
endforeach()" ALL_COMPONENTS)
    add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -DRECORD=${record}
        -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake VERBATIM)
endfunction()
