#!/usr/bin/env bash
# Attaches to servers that come and go, for as many rounds as one likes.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

if [[ ! ${1:-} =~ ^[0-9]+$ ]]; then
    cat <<EOF2
Usage: scripts/soak.sh ROUNDS [SEED]

In each round, of about a second, a server starts, its cache is queried and the server ends at a
random moment. Fails when a status is not a documented one, or when mappings, threads, descriptors or
resident memory have grown since round 10.
EOF2
    [[ ${1:-} =~ ^(-h|--help)$ ]] && exit
    exit 2
fi

need build test bench
build optimised soak
say "$1 rounds"
build/optimised/bin/soak "$@"
