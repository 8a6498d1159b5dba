#!/bin/bash
# The compiler refuses a catalogue that misses, doubles or misplaces a field or a kind.
# Arguments: the C++ compiler, the repository.
set -euo pipefail
compiler=$1
repository=$2
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT

# The file that checks the changed one, the changed file, and the sed script that breaks it.
refused() {
    cp "$repository"/catalogue/*.{h,cpp} "$copy"
    sed -i "$3" "$copy/$2"
    if cmp -s "$copy/$2" "$repository/catalogue/$2"; then
        echo "$3: nothing was changed"
        exit 1
    fi
    if "$compiler" -std=c++20 -fsyntax-only -I"$repository/include" -x c++ "$copy/$1" \
        2>"$copy/messages"; then
        echo "$3: the compiler takes it"
        exit 1
    fi
    if ! grep -q 'static assertion\|constant expression\|consteval' "$copy/messages"; then
        echo "$3: refused for another reason: $(head -n 5 "$copy/messages")"
        exit 1
    fi
}

refused kindtable.h fieldlists.h '/FIELD(4, U32, dataPageOps/d'
refused kindtable.h fieldlists.h '/FIELD(140, U32, pinnedPagesCount/d'
refused kindtable.h fieldlists.h 's/^ *FIELD(4, U32, dataPageOps.*/&\n&/'
refused kindtable.h fieldlists.h 's/U32, dataPageOps,/U32, bmPageOps,/'
refused kindtable.h fieldlists.h 's/I32, bmCHeapPages/U32, bmCHeapPages/'
refused kindtable.h fieldlists.h 's/\(numInObjWaitQueue, \)10/\19/'
refused kindtable.h fieldlists.h '0,/U32, otPageOps, Counter/s//U32, otPageOps, EventTime/'
refused statscatalogue.cpp kindtable.h '/KIND(SHRPC_SYSTEM/d'
refused statscatalogue.cpp kindtable.h 's/"PSC process", cmn, cmn64/"PSC process", cmn64/'
