#!/usr/bin/env bash
# install_test.sh SOURCE_DIR BUILD_DIR GENERATOR PYTHON: what is installed is all that others need. From
# a tree that was moved to where a blank is in its path, programs in three languages are built, by
# pkg-config and by CMake, and run against the stand-in that was installed, too.
set -euo pipefail
source_dir=$1 build_dir=$2 generator=$3 python=$4
clients=$source_dir/tests/interface/clients
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$directory"' EXIT
cd "$directory"
files_of() { (cd "$1" && find . ! -type d | sort); }

# Every file is in one component.
cmake --install "$build_dir" --prefix "$directory/first" >log
for component in library development programs exporter python doc; do
    cmake --install "$build_dir" --prefix "$directory/$component" --component $component >log
    files_of $component >>files
    rm -rf "$component"
done
diff <(files_of first) <(sort files)
programs=(tvsistat tvsi-reader tvsi-exporter tvxstandin)
pages=("${programs[@]/%/.1}")
for file in "${programs[@]/#/bin/}" "${pages[@]/#/share/man/man1/}" share/man/man3/tvsi.3 \
    share/man/man7/tvsi-stats.7 share/bash-completion/completions/tvsistat share/zsh/site-functions/_tvsistat; do
    [[ -s first/$file ]] || { echo "$file is missing"; exit 1; }
done
mv first "moved to"
if grep -rlF -e "$directory/first" -e "$build_dir" -e "$source_dir" --include='*.cmake' --include='*.pc' .; then
    echo "the files above know where they were built"
    exit 1
fi
root="$directory/moved to"
package=$(find "$root" -name tvsi.pc)
PYTHONPATH=$(dirname "$(find "$root" -name tvsi -path '*-packages/*')")
export PYTHONPATH LD_LIBRARY_PATH=${package%/pkgconfig/*} PKG_CONFIG_PATH=${package%/*}
export CMAKE_PREFIX_PATH=$root PYTHONDONTWRITEBYTECODE=1

# Python, pip and type checkers know what is there.
"$python" -c 'import importlib.metadata as metadata, importlib.resources as resources, tvsi
assert metadata.version("tvsi") == tvsi.__version__
assert resources.files(tvsi).joinpath("py.typed").is_file()'

flags=()
eval "flags=($(pkg-config --cflags --libs tvsi))" # which escapes blanks for a shell
cc -std=c11 "$source_dir/examples/snapshot.c" "${flags[@]}" -o snapshot
c++ -std=c++17 "$source_dir/examples/watch.cpp" "${flags[@]}" -o watch

mkdir project
cat >project/CMakeLists.txt <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer LANGUAGES C CXX)
foreach(version 4 3.8 3.7.4 3.7.5.9 3.7.5.10 3.7.50 37 3.8...4 3...3.7 3.7...<3.7.5.1 "3.7;EXACT")
    find_package(tvsi ${version} QUIET)
    if(tvsi_FOUND)
        message(SEND_ERROR "${version} is accepted")
    endif()
    unset(tvsi_DIR CACHE)
endforeach()
foreach(version "" 3 3.7 3.7.5 3.7.5.1 3...4 3.7...3.8 3.7.5.1...3.7.5.1 "3.7.5.1;EXACT")
    find_package(tvsi ${version} REQUIRED COMPONENTS tvsi catalogue)
    unset(tvsi_DIR CACHE)
endforeach()
find_package(tvsi 3.7 QUIET COMPONENTS nonsense)
if(tvsi_FOUND)
    message(SEND_ERROR "there is a component nonsense")
endif()
find_package(PkgConfig REQUIRED)
pkg_check_modules(other REQUIRED IMPORTED_TARGET tvsi>=3.7)
add_executable(snapshot ${EXAMPLES}/snapshot.c)
target_link_libraries(snapshot PRIVATE PkgConfig::other)
add_executable(watch ${EXAMPLES}/watch.cpp)
target_link_libraries(watch PRIVATE tvsi::tvsi)
add_executable(fields fields.cpp)
target_link_libraries(fields PRIVATE tvsi::catalogue)
CMAKE
cat >project/fields.cpp <<'CPP'
#include <statscatalogue.h>
int main() {
    return statscatalogue::kinds().size() > 10 ? 0 : 1;
}
CPP
{
    cmake -G "$generator" -S project -B built -DEXAMPLES="$source_dir/examples"
    cmake --build built
} &>log || { cat log; exit 1; }
built/fields

for folder in . built; do
    needed=$(readelf -d $folder/snapshot | grep -o 'libtvsi[^]]*')
    [[ $needed == libtvsi-*-64.so ]] || { echo "$folder/snapshot needs $needed"; exit 1; }
    "$clients/client_test.sh" "$root/bin/tvxstandin" "$clients/examples.sh" "$folder/snapshot" \
        "$folder/watch" "$python" "$source_dir/examples/watch.py"
done
