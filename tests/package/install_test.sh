#!/usr/bin/env bash
# install_test.sh SOURCE_DIR BUILD_DIR: a program is built against the installed files
# as the README says, and runs.
set -euo pipefail
source_dir=$1
build_dir=$2
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$directory"' EXIT

cmake --install "$build_dir" --prefix "$directory/installed" >"$directory/log"
for file in man/man1/{tvsistat,tvsi-reader,tvsi-exporter,tvxstandin}.1 man/man3/tvsi.3 man/man7/tvsi-stats.7 \
    bash-completion/completions/tvsistat zsh/site-functions/_tvsistat; do
    [[ -s $directory/installed/share/$file ]]
done
package=$(find "$directory/installed" -name tvsi.pc)
export PKG_CONFIG_PATH=${package%/*}
read -ra flags < <(pkg-config --cflags --libs tvsi)
libraries=$(pkg-config --variable=prefix tvsi)/lib
libraries=$(dirname "$(find "$libraries" -name 'libtvsi-*.so')")

# A missing host-wide directory: the program has to say so and fail.
export TALVEX_GLOBAL_DIR=$directory/global
mkdir -p "$TALVEX_GLOBAL_DIR/locks"
cc -std=c11 "$source_dir/examples/snapshot.c" "${flags[@]}" -o "$directory/snapshot"
c++ -std=c++17 "$source_dir/examples/watch.cpp" "${flags[@]}" -o "$directory/watch"
for program in snapshot watch; do
    if LD_LIBRARY_PATH=$libraries "$directory/$program" nosuchbrox 2>"$directory/problem"; then
        echo "$program found a Brox in an empty directory"
        exit 1
    fi
    grep nosuchbrox "$directory/problem"
done
