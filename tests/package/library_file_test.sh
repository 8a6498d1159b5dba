#!/usr/bin/env bash
# library_file_test.sh SOURCE_DIR LIBRARY VERSION sanitizers=[SANITIZERS] CLIENT...: what the dynamic linker
# sees of the library, and that each function of tvsi.h is everywhere where it has to be.
set -uo pipefail
export LC_ALL=C
source_dir=$1
library=$2
version=$3
sanitizers=${4#sanitizers=}
shift 4
failures=0

# expect WHAT WANTED FOUND
expect() {
    [ "$2" = "$3" ] && return
    printf '%s, as expected (-) and as found (+):\n' "$1"
    diff --unified=0 <(echo "$2") <(echo "$3") | tail --lines=+4
    failures=$((failures + 1))
}

functions=$(sed -nE 's/^[a-z].*\b(Tvsi[A-Za-z]*)\(.*/\1/p' "$source_dir/include/tvsi.h" | sort)
expect "tvsi.map" "$functions" "$(grep -oE 'Tvsi[A-Za-z]*' "$source_dir/src/tvsi.map" | sort)"
# The version's own name is in the table as an object with an absolute value.
# shellcheck disable=SC2086 # one word a function
expect "exported symbols" "$(printf 'FUNC %s\n' $functions)" \
    "$(readelf --wide --dyn-syms "$library" |
        awk '$1 ~ /^[0-9]+:$/ && $5 != "LOCAL" && $7 != "UND" && $7 != "ABS" { print $4, $8 }' |
        sed "s/@@TALVEX_$version\$//" | sort)"
for client in "$@"; do
    expect "called by ${client##*/}" "$functions" \
        "$({ nm --undefined-only --format=just-symbols "$client" 2>/dev/null || cat "$client"; } |
            grep -oE '\bTvsi[A-Za-z]*\b' | sort --unique)"
done
dynamic=$(readelf --wide --dynamic "$library")
if [ -z "$sanitizers" ]; then # only an instrumented program can load an instrumented library
    others=$(grep -vx TvsiInit <<<"$functions")
    expect "refused before TvsiInit" "$others" "$(python3 -c "from ctypes import CDLL
for name in '''$others'''.split():
    if hasattr(CDLL('$library'), name) and CDLL('$library')[name](*[None] * 6) == 1:
        print(name, flush=True)")"
    # A watcher thread may be running in it.
    expect "still there when it was closed" "True" "$(python3 -c "import _ctypes, ctypes
_ctypes.dlclose(ctypes.CDLL('$library')._handle)
print('$library' in open('/proc/self/maps').read())")"
    # The order of the load-time steps must not depend on the order of linking.
    expect "compiler-made initialisers" "" "$(readelf --wide --syms "$library" | grep _GLOBAL__sub)"
    expect "needed libraries" "libc.so.6" \
        "$(sed -n 's/.*Shared library: \[\(.*\)\]/\1/p' <<<"$dynamic" | paste -sd ' ')"
fi

expect "SONAME" "libtvsi-$version-64.so" \
    "$(sed -n 's/.*Library soname: \[\(.*\)\]/\1/p' <<<"$dynamic")"
expect "file name" "libtvsi-$version-64.so" "$(basename "$library")"

exit $((failures > 0))
