#!/usr/bin/env bash
# Damages recordings, kills those who write them and reads them meanwhile.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

if [[ ${1:-} =~ ^(-h|--help)$ || $# -gt 2 ]]; then
    cat <<EOF2
Usage: scripts/recording-faults.sh [--short] [SEED]

Flips 1,000 bits of recordings, overwrites 1,000 sectors, cuts 1,000 off, aims at their heads,
catalogues and tails 300 times, reads 1,000 times while one is written, and kills a writer 200 times
and 'tvsistat --write' 200 times, in about ten minutes; --short: a fiftieth of it. Whatever is read is
compared byte by byte with what was recorded. Prints a line a kind; exit status 1, with the recording
in recordingfaults.failed, when one was read wrong, too much was lost, or damage was not said.
EOF2
    [[ ${1:-} =~ ^(-h|--help)$ ]] && exit
    exit 2
fi

need build test bench
build optimised recordingfaults tvsistat
say "Faults of recordings"
build/optimised/bin/recordingfaults build/optimised/bin/tvsistat "$@"
