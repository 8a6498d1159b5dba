#!/usr/bin/env bash
# versions_test.sh SOURCE_DIR CMAKE_RELEASE CMAKE_INTERFACE PYTHON TVSI_PC PROGRAM...: whoever names the
# release or the server's version names those of include/tvsi.h.
set -euo pipefail
source_dir=$1 python=$4 pc=$5
macro() { sed -n "s/^#define $1 \"*\([0-9.]*\)\"*$/\1/p" "$source_dir/include/tvsi.h"; }
release=$(macro TVSI_RELEASE)
interface=$(macro TVSI_INTERFACE_VERSION)
[[ $release =~ ^[0-9]+\.[0-9]+\.[0-9]+$ && $interface =~ ^[0-9]+(\.[0-9]+){3}$ ]]

failures=0
expect() { # WHAT WANTED FOUND
    [[ $2 == "$3" ]] && return
    echo "$1 has '$3', not '$2'"
    failures=1
}
IFS=. read -r major minor patch <<<"$release"
expect "TVSI_RELEASE_NUMBER" $((major * 10000 + minor * 100 + patch)) "$(macro TVSI_RELEASE_NUMBER)"
expect "CMake" "$release $interface" "$2 $3"
expect "the top of CHANGELOG.md" "$release" "$(grep -om 1 '^## [0-9.]*' "$source_dir/CHANGELOG.md" | cut -c 4-)"
expect "tvsi.pc" "$release $interface" "$(pkg-config --variable=release "$pc") $(pkg-config --modversion "$pc")"
expect "the Python package" "$release $interface" "$(PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$source_dir/python \
    "$python" -c 'import tvsi; print(tvsi.__version__, tvsi.records.INTERFACE_VERSION)')"
expect "tvsi(3)" "libtvsi-$interface-64.so" "$(grep -o 'libtvsi-[0-9.]*-64.so' "$source_dir/man/tvsi.3" | sort -u)"
for program in "${@:6}"; do
    for option in -V --version; do
        expect "${program##*/} $option" "${program##*/} $release for Talvex $interface" "$("$program" $option)"
    done
done
exit $failures
