#!/usr/bin/env bash
# Runs fuzzers for as long as one likes.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

usage() {
    cat <<EOF2
Usage: scripts/fuzz.sh [--plain] SECONDS [FUZZER...]

Runs each fuzzer for so many seconds, all of them unless some are named, with the address and
undefined-behaviour sanitizers; --plain without them, which makes two to five times as many
executions. Prints how many each has made, in how much time of the clock and of the processor.

New inputs are kept in build/fuzzing/corpus/ and are where the next run goes on. What libFuzzer
writes is in build/fuzzing/, and so are inputs that break something, in findings/. Exit status 1
when there is one.
EOF2
    exit "$1"
}

preset=fuzz
[ "${1:-}" != --plain ] || { preset=fuzz-plain && shift; }
[[ ! ${1:-} =~ ^(-h|--help)$ ]] || usage 0
[[ ${1:-} =~ ^[0-9]+$ ]] || usage 2
seconds=$1
shift
fuzzers=("$@")
[ ${#fuzzers[@]} -gt 0 ] || mapfile -t fuzzers < <(ls fuzz/seeds)

need build fuzz
build "$preset"
mkdir -p build/fuzzing/findings
say "$preset, $seconds seconds each"
printf '%-22s %12s %10s %10s %12s\n' fuzzer executions 'clock s' 'cpu s' '1/cpu s'
failed=()
TIMEFORMAT='%R %U %S'
for fuzzer in "${fuzzers[@]}"; do
    [ -x "build/$preset/bin/$fuzzer" ] || fail "there is no fuzzer '$fuzzer'"
    corpus=build/fuzzing/corpus/$fuzzer
    log=build/fuzzing/$preset-$fuzzer.log
    mkdir -p "$corpus"
    {
        time "build/$preset/bin/$fuzzer" -max_total_time="$seconds" -timeout=10 \
            -print_final_stats=1 -artifact_prefix="build/fuzzing/findings/$fuzzer-" \
            "$corpus" "fuzz/seeds/$fuzzer" >"$log" 2>&1 || failed+=("$fuzzer")
    } 2>build/fuzzing/times
    read -r clock user system <build/fuzzing/times
    awk -v fuzzer="$fuzzer" -v clock="$clock" -v cpu="$user $system" '
        BEGIN { split(cpu, part); cpu = part[1] + part[2] }
        /^stat::number_of_executed_units:/ { executions = $2 }
        END {
            printf "%-22s %12d %10.1f %10.1f %12.0f\n", fuzzer, executions, clock, cpu,
                executions / (cpu > 0 ? cpu : 1)
        }' "$log"
done
[ ${#failed[@]} -eq 0 ] || fail "findings of: ${failed[*]}, in build/fuzzing/"
say "No findings"
