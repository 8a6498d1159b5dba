#!/usr/bin/env bash
# client_test.sh SERVER CLIENT...: runs the command CLIENT, with what it needs to know of the cache
# as further arguments, against a server in a directory of its own.
set -uo pipefail
server=$1
shift
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
mkfifo "$directory/output"
setpriv --pdeathsig KILL "$server" --brox prod --dir "$directory" --rate 50 >"$directory/output" &
serverPid=$!
trap 'kill "$serverPid" 2>/dev/null; wait "$serverPid"; rm -rf "$directory"' EXIT
trap 'exit 1' TERM INT

read -r -t 50 line <"$directory/output"
if [[ ! $line =~ ^ready\ cache=([^ ]+)\ monitor=([0-9]+)\ brox=([0-9]+)\ entries=([0-9]+)$ ]]; then
    echo "the server did not get ready: $line"
    exit 1
fi
export TALVEX_GLOBAL_DIR=$directory
setpriv --pdeathsig KILL "$@" prod "${BASH_REMATCH[@]:1}"
