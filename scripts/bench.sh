#!/usr/bin/env bash
# Measures the library and writes the figures to build/bench/figures.md: in a few minutes, on a
# machine that does nothing else.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

document=docs/performance.md
begin='<!-- figures: written by scripts/bench.sh --record -->'
end='<!-- end of the figures -->'

usage() {
    cat <<USAGE
Usage: scripts/bench.sh [--record] [BENCHMARK...]

Runs the benchmarks (queries attach load tvsistat, unless some are named) and writes their figures
to build/bench/figures.md.

  --record  also puts them in the place of those in $document; with all benchmarks only
USAGE
}

record=false
benchmarks=()
for argument in "$@"; do
    case $argument in
    --record) record=true ;;
    queries | attach | load | tvsistat) benchmarks+=("$argument") ;;
    -h | --help)
        usage
        exit
        ;;
    *)
        usage >&2
        fail "there is no benchmark '$argument'"
        ;;
    esac
done
if [ ${#benchmarks[@]} -eq 0 ]; then
    benchmarks=(queries attach load tvsistat)
elif $record; then
    fail "--record replaces all figures: run it without the name of a benchmark"
fi

need build bench
build bench
bin=build/bench/bin
library=$(echo build/bench/lib/libtvsi-*-64.so)
figures=build/bench/figures.md

cache_kilobytes() { echo $(($(getconf "$1_SIZE") / 1024)); }

describe_machine() {
    local model
    model=$(awk -F '[[:space:]]*: ' '
        $1 == "model name" { name = $2 } $1 == "cpu family" { family = $2 } $1 == "model" { model = $2 }
        END { printf "%s (family %d, model %d)", name, family, model }' /proc/cpuinfo)
    echo "$model, $(nproc) processors, caches of $(cache_kilobytes LEVEL1_DCACHE)," \
        "$(cache_kilobytes LEVEL2_CACHE) and $(cache_kilobytes LEVEL3_CACHE) kB;" \
        "Linux $(uname -r), $(date --utc +%F);" \
        "load average $(cut -d ' ' -f 1 /proc/loadavg) at the start."
}

static_memory() {
    size "$library" | awk 'NR == 2 {
        printf "The library: %d bytes of code and constants, %d of data, %d of zeroed data.\n",
            $1, $2, $3 }'
}

{
    describe_machine
    static_memory
    echo
    echo "| Measured | Entries | Takes | An entry | Compared with | Takes | Ratio | Target |"
    echo "|---|--:|--:|--:|---|--:|--:|---|"
} >"$figures"

started=$SECONDS
for benchmark in "${benchmarks[@]}"; do
    say "$benchmark"
    "$bin/${benchmark}_bench" --table="$figures"
done
say "$figures after $((SECONDS - started)) seconds"

if $record; then
    awk -v begin="$begin" -v end="$end" -v figures="$figures" '
        $0 == begin { print; print ""; while ((getline line < figures) > 0) print line; print ""
                      skip = 1 }
        $0 == end { skip = 0 }
        !skip' "$document" >"$document.new"
    mv "$document.new" "$document"
    echo "recorded in $document"
fi
