#!/usr/bin/env bash
# Runs fuzzers for as long as one likes.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

if [[ ! ${1:-} =~ ^[0-9]+$ ]]; then
    cat <<EOF
Usage: scripts/fuzz.sh SECONDS [FUZZER...]

Runs each fuzzer for so many seconds, all of them unless some are named. New inputs are kept in
build/fuzz/corpus/ and are where the next run goes on; inputs that break something are left in
build/fuzz/findings/. Exit status 1 when there is one.
EOF
    [[ ${1:-} =~ ^(-h|--help)$ ]] && exit
    exit 2
fi
seconds=$1
shift
fuzzers=("$@")
[ ${#fuzzers[@]} -gt 0 ] || mapfile -t fuzzers < <(ls fuzz/seeds)

need build fuzz
build fuzz
mkdir -p build/fuzz/findings
failed=()
for fuzzer in "${fuzzers[@]}"; do
    [ -x "build/fuzz/bin/$fuzzer" ] || fail "there is no fuzzer '$fuzzer'"
    say "$fuzzer for $seconds seconds"
    mkdir -p "build/fuzz/corpus/$fuzzer"
    "build/fuzz/bin/$fuzzer" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="build/fuzz/findings/$fuzzer-" \
        "build/fuzz/corpus/$fuzzer" "fuzz/seeds/$fuzzer" || failed+=("$fuzzer")
done
[ ${#failed[@]} -eq 0 ] || fail "findings of: ${failed[*]}, in build/fuzz/findings/"
say "No findings"
