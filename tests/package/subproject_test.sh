#!/usr/bin/env bash
# subproject_test.sh SOURCE_DIR GENERATOR VERSION: as a part of another project this one is the
# library alone, it looks for no package, and it changes none of the other's settings.
set -euo pipefail
source_dir=$1
generator=$2
version=$3
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$directory"' EXIT
cd "$directory"
unset CFLAGS CXXFLAGS CMAKE_BUILD_TYPE

cat >no_packages.cmake <<'CMAKE'
macro(find_package name)
    message(FATAL_ERROR "looks for ${name}")
endmacro()
CMAKE
cat >CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES C)
include(no_packages.cmake)
get_directory_property(before VARIABLES)
add_subdirectory(${TVSI} tvsi)
get_directory_property(after VARIABLES)
list(REMOVE_ITEM after ${before} before)
list(FILTER after EXCLUDE REGEX
    "^_?(TVSI_|tvsi_|CMAKE_CXX_|CMAKE_INSTALL_|GNUInstallDirs|CMAKE_PROJECT_VERSION)")
if(after OR CMAKE_CXX_STANDARD OR CMAKE_CXX_FLAGS OR CMAKE_BUILD_TYPE)
    message(FATAL_ERROR "changes settings: ${after} ${CMAKE_CXX_STANDARD} ${CMAKE_CXX_FLAGS} "
        "${CMAKE_BUILD_TYPE}")
endif()
add_executable(parent parent.c)
target_link_libraries(parent PRIVATE tvsi::tvsi)
CMAKE
cat >parent.c <<'C'
#include <tvsi.h>
int main(void) {
    TvsiInit();
    return TvsiDetachSharedCache() != TVSI_ERR_CACHE_NOT_ATTACHED;
}
C

cmake -G "$generator" -S . -B build -DTVSI="$source_dir" &>>log || { cat log; exit 1; }
cmake --build build >>log || { cat log; exit 1; }
build/parent
diff -u <(find build -type f \( -executable -o -name '*.a' \) -not -path '*/CMakeFiles/*' | sort) - <<BUILT
build/parent
build/tvsi/src/libtvsi-$version-64.so
BUILT

# FetchContent takes it in as well, and what asks for the package then finds it there.
mkdir fetching
mv parent.c fetching
cat >fetching/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(fetching LANGUAGES C)
include(FetchContent)
FetchContent_Declare(tvsi SOURCE_DIR ${TVSI} OVERRIDE_FIND_PACKAGE)
find_package(tvsi 3.7 REQUIRED)
add_executable(parent parent.c)
target_link_libraries(parent PRIVATE tvsi::tvsi)
CMAKE
cmake -G "$generator" -S fetching -B fetched -DTVSI="$source_dir" -DFETCHCONTENT_FULLY_DISCONNECTED=ON \
    &>>log || { cat log; exit 1; }
cmake --build fetched >>log || { cat log; exit 1; }
fetched/parent

# At top level, too, the library needs a compiler and nothing else.
cmake -G "$generator" -S "$source_dir" -B alone -DCMAKE_PROJECT_INCLUDE="$PWD/no_packages.cmake" \
    -DTVSI_BUILD_{TOOLS,STANDIN,TESTS}=OFF &>>log || { cat log; exit 1; }
