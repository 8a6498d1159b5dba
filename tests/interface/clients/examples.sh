#!/usr/bin/env bash
# examples.sh SNAPSHOT WATCH PYTHON WATCH_PY BROX CACHE MONITOR-PID BROX-PID ENTRIES: the programs of
# the README show a running server, and those that watch it say when it has gone.
set -euo pipefail
snapshot=$1
watches=("$2" "$3 $4")
brox=$5
monitor=$7

grep -q '^Vok1 .* pages located [1-9]' <<<"$("$snapshot" "$brox")"
for i in 0 1; do
    # shellcheck disable=SC2086 # a program and its script are two words
    exec {output}< <(${watches[i]} "$brox" 2>&1)
    outputs[i]=$output
    while read -r -t 30 -u "$output" line && [[ ! $line =~ ^Vok4\ +session\ +4\ +commits\ [0-9]+$ ]]; do :; done
    [[ $line == Vok4* ]] || { echo "${watches[i]} shows no Vok4: $line"; exit 1; }
done
kill -KILL "$monitor"
for i in 0 1; do
    while read -r -t 30 -u "${outputs[i]}" line; do last=$line; done
    [[ $last == "the cache has gone away"* ]] || { echo "${watches[i]} ends with: $last"; exit 1; }
done
