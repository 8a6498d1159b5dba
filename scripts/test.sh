#!/usr/bin/env bash
# Builds and tests. Without arguments: all stages.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

all_stages=(optimised monitoring unit asan tsan fuzz package)

usage() {
    cat <<EOF
Usage: scripts/test.sh [STAGE...] [-- CTEST-ARGUMENT...]

Stages, all of ${all_stages[*]} unless some are named:
  optimised  the tests in an optimised build, and a smoke run of each benchmark
  monitoring the exporter with Prometheus and a browser, in an optimised build
  debug      the tests in a build without optimisation
  unit       the unit tests, built with clang and without optimisation
  asan       the tests under the address, leak and undefined-behaviour sanitizers
  tsan       the tests under the thread sanitizer
  fuzz       a short run of each fuzzer
  package    the Debian packages of the last commit: made, looked at, installed, removed

What follows -- goes to ctest; for example scripts/test.sh debug -- -R registry
EOF
}

stages=()
while [ $# -gt 0 ]; do
    case $1 in
    optimised | monitoring | debug | unit | asan | tsan | fuzz | package) stages+=("$1") ;;
    -h | --help)
        usage
        exit
        ;;
    --)
        shift
        break
        ;;
    *)
        usage >&2
        fail "there is no stage '$1'"
        ;;
    esac
    shift
done
[ ${#stages[@]} -gt 0 ] || stages=("${all_stages[@]}")

# Where the kernel spreads addresses wider than the thread sanitizer of gcc 12 can follow, its
# programs don't start unless the spreading is off.
without_address_spreading() {
    local probe status=0
    probe=$(mktemp -d)
    echo 'int main() {}' | g++ -fsanitize=thread -x c++ - -o "$probe/probe"
    for _ in {1..20}; do
        "$probe/probe" 2>/dev/null || status=1
    done
    rm -rf "$probe"
    if [ $status -eq 0 ]; then
        "$@"
    else
        setarch --addr-no-randomize "$@"
    fi
}

run_stage() {
    local stage=$1 preset=$1 label=(--label-exclude monitoring)
    shift
    case $stage in
    package)
        scripts/package.sh
        return
        ;;
    fuzz) need build fuzz ;;
    monitoring)
        need build test bench monitoring
        preset=optimised label=(--label-regex monitoring)
        ;;
    optimised) need build test bench ;;
    unit) need build test clang ;;
    *) need build test ;;
    esac
    build "$preset"
    say "Testing $stage"
    case $stage in
    tsan) without_address_spreading ctest --preset "$preset" "${label[@]}" "$@" ;;
    *) ctest --preset "$preset" "${label[@]}" "$@" ;;
    esac
}

started=$SECONDS
for stage in "${stages[@]}"; do
    run_stage "$stage" "$@"
done
say "All stages passed (${stages[*]}) in $((SECONDS - started)) seconds"
