#!/usr/bin/env bash
# Measures the library and writes the figures to build/bench/figures: in a few minutes, on a machine
# that does nothing else.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

all_benchmarks=(queries cpp python attach load reader tvsistat exporter)

usage() {
    cat <<USAGE
Usage: scripts/bench.sh [--record] [BENCHMARK...]

Runs the benchmarks (${all_benchmarks[*]}, unless some are named) and writes their figures to
build/bench/figures.

  --record  also keeps them in bench/figures, and makes the tables and the picture of
            docs/performance.md from what is there
USAGE
}

record=false
benchmarks=()
for argument in "$@"; do
    if [[ $argument == --record ]]; then
        record=true
    elif [[ " ${all_benchmarks[*]} " == *" $argument "* ]]; then
        benchmarks+=("$argument")
    elif [[ $argument == -h || $argument == --help ]]; then
        usage
        exit
    else
        usage >&2
        fail "there is no benchmark '$argument'"
    fi
done
[ ${#benchmarks[@]} -gt 0 ] || benchmarks=("${all_benchmarks[@]}")

# The tvsistat that attached the cache itself, before the sample stream: what ours is measured
# against, built once from the history. Without that its rows are left out.
former_commit=f12358b3b71e6eba32e02a32c0ac1a552945737d
build_former() {
    local tree=build/former
    if [ ! -x $tree/build/release/bin/tvsistat ] && git cat-file -e $former_commit 2>/dev/null; then
        say "Building the former tvsistat"
        mkdir -p $tree
        git archive $former_commit | tar --extract --directory=$tree
        (cd $tree && cmake --preset release --log-level=WARNING >/dev/null &&
            cmake --build --preset release --target tvsistat >/dev/null)
    fi
    [ ! -x $tree/build/release/bin/tvsistat ] ||
        export TVSI_FORMER_TVSISTAT=$PWD/$tree/build/release/bin/tvsistat
}

need build bench
build bench
[[ " ${benchmarks[*]} " != *" tvsistat "* ]] || build_former
bin=build/bench/bin
library=$(echo build/bench/lib/libtvsi-*-64.so)
figures=build/bench/figures
mkdir -p "$figures"

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

machine=$(describe_machine)
started=$SECONDS
for benchmark in "${benchmarks[@]}"; do
    say "$benchmark"
    {
        echo "# $machine"
        [ "$benchmark" != load ] || echo "# $(static_memory)"
        echo "subject,entries,unit,value,compared with,its value,ratio,excess,target kind,target"
    } >"$figures/$benchmark.csv"
    "$bin/${benchmark}_bench" --csv="$figures/$benchmark.csv"
done
say "$figures after $((SECONDS - started)) seconds"

if $record; then
    for benchmark in "${benchmarks[@]}"; do
        cp "$figures/$benchmark.csv" bench/figures/
    done
    scripts/figures.py
    echo "recorded in bench/figures and docs/performance.md"
fi
