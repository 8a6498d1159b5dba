#!/usr/bin/env bash
# library_file_test.sh LIBRARY VERSION [SANITIZERS]: what the dynamic linker sees of the library.
set -uo pipefail
export LC_ALL=C
library=$1
version=$2
sanitizers=${3:-}
failures=0

# expect WHAT WANTED FOUND
expect() {
    [ "$2" = "$3" ] && return
    printf '%s:\n  expected: %s\n  found:    %s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

functions="TvsiAllStatsForMask TvsiAllVokStatsForRegexName TvsiAllVokStatsForVokKindRange
    TvsiAttachSharedCache TvsiAttachSharedCacheForBrox TvsiCacheIsAlive TvsiDetachSharedCache
    TvsiFetchMaxProcessesInCache TvsiInit TvsiStatsForBrox TvsiStatsForPgsvrSessionId
    TvsiStatsForProcessId TvsiStatsForShrPcMon TvsiStatsForVokSessionId
    TvsiStatsForVokSessionWithName"
wanted=$(for name in $functions; do echo "FUNC $name@@TALVEX_$version"; done)
# The version's own name is in the table as an object with an absolute value.
found=$(readelf --wide --dyn-syms "$library" |
    awk '$1 ~ /^[0-9]+:$/ && $5 != "LOCAL" && $7 != "UND" && $7 != "ABS" { print $4, $8 }' | sort)
expect "exported symbols" "$wanted" "$found"

dynamic=$(readelf --wide --dynamic "$library")
expect "SONAME" "libtvsi-$version-64.so" \
    "$(sed -n 's/.*Library soname: \[\(.*\)\]/\1/p' <<<"$dynamic")"
expect "file name" "libtvsi-$version-64.so" "$(basename "$library")"
if [ -z "$sanitizers" ]; then
    # The order of the load-time steps must not depend on the order of linking.
    expect "compiler-made initialisers" "" "$(readelf --wide --syms "$library" | grep _GLOBAL__sub)"
    expect "needed libraries" "libc.so.6" \
        "$(sed -n 's/.*Shared library: \[\(.*\)\]/\1/p' <<<"$dynamic" | paste -sd ' ')"
fi
expect "binding at load time" "yes" "$(grep -Eq 'FLAGS.*(BIND_NOW|NOW)' <<<"$dynamic" && echo yes)"
expect "text relocations" "" "$(grep TEXTREL <<<"$dynamic")"
expect "search paths" "" "$(grep -E 'RPATH|RUNPATH' <<<"$dynamic")"

segments=$(readelf --wide --program-headers "$library")
expect "read-only relocations" "yes" "$(grep -q GNU_RELRO <<<"$segments" && echo yes)"
expect "stack flags" "RW" "$(awk '$1 == "GNU_STACK" { print $7 }' <<<"$segments")"
expect "segments both writable and executable" "" "$(grep -E 'LOAD .* RWE ' <<<"$segments")"

exit $((failures > 0))
