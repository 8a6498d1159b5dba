#!/usr/bin/env bash
# install_folders_test.sh SOURCE_DIR GENERATOR: the library alone is installed wherever the folders are
# to be, is found there, and is uninstalled without a trace and without another's file.
set -euo pipefail
source_dir=$1 generator=$2
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$directory"' EXIT
cd "$directory"
unset CFLAGS CXXFLAGS CMAKE_BUILD_TYPE DESTDIR
export CMAKE_BUILD_PARALLEL_LEVEL=2

quietly() { "$@" &>log || { cat log; exit 1; }; }

while IFS='|' read -r prefix libdir destination folder; do
    rm -rf tree
    mkdir tree
    quietly cmake -G "$generator" -S "$source_dir" -B built -DTVSI_BUILD_{TOOLS,STANDIN,TESTS}=OFF \
        -DCMAKE_INSTALL_PREFIX="$directory/tree/$prefix" -DCMAKE_INSTALL_LIBDIR="${libdir/#@/$directory}"
    quietly cmake --build built
    [[ -z $destination ]] || export DESTDIR=$directory/tree/$destination
    quietly cmake --install built
    file=$(find tree -name 'libtvsi-*-64.so')
    [[ ${file%/*} == tree${destination:+/$destination$directory/tree}/$folder ]] ||
        { echo "$file isn't in $folder"; exit 1; }
    if [[ -z $destination ]]; then
        PKG_CONFIG_PATH="$directory/${file%/*}/pkgconfig" pkg-config --cflags --libs tvsi >flags
        flags=()
        eval "flags=($(<flags))"
        cc -std=c11 "$source_dir/examples/snapshot.c" "${flags[@]}" -o snapshot
        loaded=$(LD_LIBRARY_PATH="$directory/${file%/*}" ldd snapshot)
        [[ $loaded == *"$directory/tree/"* ]] || { echo "not from the tree: $loaded"; exit 1; }
    fi

    # What is installed twice is removed once; another's file stays, and its folder.
    quietly cmake --install built --component library
    touch "${file%/*}/other" "$(dirname "$(find tree -name tvsi.hpp)")/other.h"
    quietly cmake --build built --target uninstall
    left=$(find tree ! -type d -printf '%f ')
    [[ $left == "other.h other " || $left == "other other.h " ]] || { echo "left: $left"; exit 1; }
    [[ -z $(find tree -type d -name 'tvsi*' -empty) ]] || { echo "an empty folder is left"; exit 1; }
    if cmake --build built --target uninstall &>log || ! grep -q "Nothing was installed" log; then
        echo "an uninstall without an install:"
        cat log
        exit 1
    fi
    unset DESTDIR
done <<'END'
usr|lib||usr/lib
a prefix|lib/x86_64-linux-gnu||a prefix/lib/x86_64-linux-gnu
usr|@/tree/usr/lib64||usr/lib64
a prefix|@/tree/else where||else where
usr|lib/x86_64-linux-gnu|to be packed|usr/lib/x86_64-linux-gnu
END
