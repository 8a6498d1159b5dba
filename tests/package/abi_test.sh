#!/usr/bin/env bash
# abi_test.sh SOURCE_DIR LIBRARY CXX: the functions of the library, and the types that they are called
# with, are those of abi/libtvsi.abi, and a change of one is seen. Programs that were built before
# would go wrong with another ABI.
# abi_test.sh --record SOURCE_DIR LIBRARY: writes that file.
set -euo pipefail
record=false
if [[ $1 == --record ]]; then
    record=true
    shift
fi
source_dir=$1
library=$2
recorded=$source_dir/abi/libtvsi.abi
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$directory"' EXIT
cd "$directory"

# The public headers' types alone, without the places where they were built. Without debug
# information there are no types, and nothing would ever differ.
dump() {
    abidw --headers-dir "$source_dir/include" --drop-private-types --exported-interfaces-only \
        --no-comp-dir-path --no-corpus-path --no-show-locs --no-write-default-sizes \
        --type-id-style hash "$1" | sed "s|path='[^']*/src/|path='src/|" >"$2"
    if ! grep -q "<class-decl name='TvsiResultSType' size" "$2" ||
        ! grep -q '<function-decl ' "$2"; then
        echo "$1 has no debug information: its ABI is unknown"
        exit 1
    fi
}

equals_recorded() {
    abidiff --fail-no-debug-info --harmless "$recorded" "$1" >report
}

dump "$library" library.abi
if $record; then
    cp library.abi "$recorded"
    exit
fi
if ! equals_recorded library.abi; then
    cat report
    echo "Programs would have to be built anew. If this is meant: build the target abi_record."
    exit 1
fi

# stub: a library of functions that do nothing, as the headers here declare them.
stub() {
    {
        echo '#include "tvsi.h"'
        grep -Pzo '\n[a-z]+ Tvsi\w+\([^;]*;' tvsi.h | tr '\0' '\n' |
            sed 's/;$/ { __builtin_trap(); }/'
    } >stub.cpp
    "$compiler" -g -w -shared -fPIC -I. stub.cpp -o stub.so -Wl,--version-script=tvsi.map \
        "-Wl,-soname,$(basename "$library")" -static-libgcc -nostdlib -lc
    dump stub.so stub.abi
}

compiler=$3
version=$(sed -n 's/^#define TVSI_INTERFACE_VERSION "\(.*\)"$/\1/p' "$source_dir/include/tvsi.h")
while IFS='|' read -r change file script; do
    cp "$source_dir"/include/*.h "$source_dir/src/tvsi.map" .
    sed -i "s/@TVSI_INTERFACE_VERSION@/$version/" tvsi.map
    sed -i -E "$script" "$file"
    stub
    verdict=equal
    equals_recorded stub.abi || verdict=other
    if [[ $verdict != "$([[ $change == nothing ]] && echo equal || echo other)" ]]; then
        cat report
        echo "$change was changed, and the ABI counts as $verdict"
        exit 1
    fi
done <<'END'
nothing|tvsi.h|
a field's place|shrpcstats.h|s/uint32_t otPageOps;/uint32_t swapped;/; s/uint32_t dataPageOps;/uint32_t otPageOps;/; s/swapped/dataPageOps/
a field's sign|shrpcstats.h|s/    int32_t freeFrameLimit/    uint32_t freeFrameLimit/
a field's name|shrpcstats.h|s/ tteFreeCount;/ tteFree;/
a parameter|tvsi.h|s/Range\(int vokKindMin/Range(unsigned vokKindMin/
a result|tvsi.h|s/^void TvsiInit/int TvsiInit/
a symbol|tvsi.map|s/TvsiCacheIsAlive;//
END
