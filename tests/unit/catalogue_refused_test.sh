#!/bin/bash
# The compiler refuses a catalogue that misses, doubles or misplaces a field or a kind, or says
# of one what it cannot be.
# Arguments: the C++ compiler, the repository.
set -euo pipefail
compiler=$1
repository=$2
work=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
faults=()
trap 'rm -rf "$work"' EXIT

limit=() # by default GCC ends after no number of errors
if "$compiler" --version | grep -q clang; then
    limit=(-ferror-limit=0)
fi

compile() {
    "$compiler" -std=c++20 -fsyntax-only "${limit[@]}" -I"$repository/include" -x c++ "$@" \
        2>"$work/messages"
}

# The file that checks the changed one, the changed file, the sed script that breaks it, and how
# many assertions fail then.
refused() {
    local failures
    cp "$repository"/catalogue/*.{h,cpp} "$work"
    sed -i "$3" "$work/$2"
    if cmp -s "$work/$2" "$repository/catalogue/$2"; then
        echo "$3: nothing was changed"
        exit 1
    fi
    if compile "$work/$1"; then
        echo "$3: the compiler takes it"
        exit 1
    fi
    failures=$(grep -c 'error: static.assert\|error: non-constant\|error: call to consteval\|is not a constant expression' \
        "$work/messages") || true
    if ((failures < ${4:-1})); then
        echo "$3: refused for another reason: $(head -n 5 "$work/messages")"
        exit 1
    fi
}

if ! compile "$repository/catalogue/derivedfigures.cpp"; then
    echo "the catalogue is refused as it is: $(head -n 5 "$work/messages")"
    exit 1
fi

# Each fault below has an assertion of its own to meet.

# The fields of a block: the second, the last, one twice.
refused kindtable.h fieldlists.h '/FIELD(4, U32, dataPageOps/d
    /FIELD(348, U32, vokThreadsInCacheCount/d
    s/^ *FIELD(4, U32, pageMgrRemoveFromCachesCount.*/&\n&/' 3
refused statscatalogue.cpp kindtable.h '/KIND(SHRPC_SYSTEM/d
    s/"PSC process", cmn, cmn64/"PSC process", cmn64/' 2

# The columns of a kind: titles, names, terms and ages of figures, and what is shown by default.
refused derivedfigures.cpp figuretable.h 's/"hit%", everyKind/"hits", everyKind/
    s/"usedSlotPercent"/"freeFramePercent"/
    s/"brxAioFsyncCount"/"brxAioFsyncs"/
    s/"aCommit", broxAndVok/"aCommit", SHRPC_BROX/
    s/{SHRPC_FF_Thr,/{SHRPC_FF_Thr | SHRPC_PAGEMGR,/' 5
refused derivedfigures.cpp figuretable.h 's/"ms\/io"/"DskRead"/
    s/"usedSlotPercent"/"slotsFreeCount"/
    s/rate("mainThread/value("mainThread/
    s/ | SHRPC_SYSTEM,/,/' 4
refused derivedfigures.cpp figuretable.h 's/"nextSleepTimeMs"}/"nextSleepTime"}/'

# What a field's member, name and meaning say of it, and what fits a column or a line: the
# compiler refuses each of these lines, whatever it finds in the others.
cp "$repository"/catalogue/*.h "$work"
while IFS='|' read -r field from to; do
    line=$(grep -n -m 1 " $field, " "$work/fieldlists.h" | grep "$from" | cut -d : -f 1) ||
        { echo "$field has no $from"; exit 1; }
    sed -i "${line}s/$from/$to/" "$work/fieldlists.h"
    faults[line]="$field with $to for $from"
done <<'END'
I32, bmCHeapPages|I32|U32
numInObjWaitQueue|10|9
dataPageOps|dataPageOps|bmPageOps
rdbfTimeWaitingForIoMs|Milliseconds|Seconds
rdbfMicroSecsPerIo10Avg|Microseconds|Milliseconds
compressionKbIn|Kilobytes|Bytes
logKBytesWritten|Kilobytes|Number
tciBytesSent|Bytes|Number
reposSizeMB|Megabytes|Kilobytes
secondsSinceAbort|Seconds|Unknown
targetPercentDirty|Percent|Number
timeInScavenge|Unknown|Milliseconds
workingSetSize|Number|Bytes
timeLastEpochGc|None, None|Seconds, Max
frameCount|Number, Sum|Number, None
primitiveNumber|Identifier, None, None|Identifier, Number, Max
cacheIdle|None, None|None, Max
timeLastLogin|None, None|Seconds, Max
otPageOps|Counter, Number, Sum|EventTime, None, None
totalCommits|Sum|Max
abortCount|"aborts"|"allAborts"
sessionStats|"ses"|"sessi"
objectsRead|read"|read."
END
if compile "$work/kindtable.h"; then
    echo "the compiler takes every one of: ${faults[*]}"
    exit 1
fi
for line in "${!faults[@]}"; do
    if ! grep -q "fieldlists.h:$line:" "$work/messages"; then
        echo "the compiler takes ${faults[line]}"
        exit 1
    fi
done
