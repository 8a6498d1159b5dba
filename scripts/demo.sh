#!/usr/bin/env bash
# Shows the library at work: a stand-in server in a temporary directory, its statistics live for
# about ten seconds, then the death of the cache monitor. Leaves nothing behind.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

live_seconds=10
severed_status=7 # of tvsistat, when the cache goes away; listed in its --help

need build
build release tvxstandin tvsistat tvsi-reader
bin=$PWD/build/release/bin

server=
statistics=
segments=()
TALVEX_GLOBAL_DIR=$(mktemp -d)
export TALVEX_GLOBAL_DIR

# wait_until SECONDS COMMAND...: FALSE when the command has not succeeded by then.
wait_until() {
    local end=$((SECONDS + $1))
    shift
    until "$@"; do
        [ "$SECONDS" -lt "$end" ] || return 1
        sleep 0.1
    done
}

is_gone() { ! kill -0 -- "$1" 2>/dev/null; }

# segments_of PID: the ids of the shared memory segments that the process created.
segments_of() { ipcs -m -p | awk -v creator="$1" '$3 == creator { print $1 }'; }

remaining_segments() {
    local id
    for id in $(ipcs -m | awk '$2 ~ /^[0-9]+$/ { print $2 }'); do
        [[ " ${segments[*]} " != *" $id "* ]] || echo "$id"
    done
}

stop_server() {
    [ -n "$server" ] || return 0
    kill -TERM "$server" 2>/dev/null || true
    wait_until 5 is_gone "-$server" || kill -KILL -- "-$server" 2>/dev/null || true
    wait "$server" 2>/dev/null || true
}

# What a server that was stopped in order has left to do is nothing; this is for the other cases.
clean_up() {
    [ -z "$statistics" ] || kill -TERM "$statistics" 2>/dev/null || true
    stop_server
    remaining_segments | xargs -r -n 1 ipcrm -m || true
    rm -rf "$TALVEX_GLOBAL_DIR"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

say "Starting the stand-in server: tvxstandin --brox demo"
# In a process group of its own, so that all of it can be found and ended.
setsid "$bin/tvxstandin" --brox demo --dir "$TALVEX_GLOBAL_DIR" >"$TALVEX_GLOBAL_DIR/server.out" &
server=$!
is_ready() { grep -q '^ready ' "$TALVEX_GLOBAL_DIR/server.out" || is_gone "$server"; }
wait_until 20 is_ready || fail "the stand-in server did not become ready"
ready=$(grep '^ready ' "$TALVEX_GLOBAL_DIR/server.out") || fail "the stand-in server ended"
echo "$ready"
monitor=${ready#* monitor=}
monitor=${monitor%% *}
mapfile -t segments < <(segments_of "$monitor")
[ ${#segments[@]} -gt 0 ] || fail "process $monitor has no shared memory segment"

say "tvsistat --brox demo"
"$bin/tvsistat" --brox demo

say "tvsistat --brox demo --kind monitor,brox,vok 1"
"$bin/tvsistat" --brox demo --kind monitor,brox,vok 1 &
statistics=$!
sleep "$live_seconds"
is_gone "$statistics" && fail "tvsistat ended before its time"

say "kill -9 $monitor (the cache monitor)"
kill -KILL "$monitor"
wait_until 10 is_gone "$statistics" || fail "tvsistat did not notice that the cache is gone"
status=0
wait "$statistics" || status=$?
echo "tvsistat ended with exit status $status"
[ "$status" -eq "$severed_status" ] || fail "its exit status should have been $severed_status"

say "Stopping the stand-in server"
stop_server
is_gone "-$server" || fail "processes of the stand-in server are left"
[ -z "$(remaining_segments)" ] || fail "the server's shared memory segment is left"
[ -z "$(find "$TALVEX_GLOBAL_DIR" -name '*.LCK')" ] || fail "registry files of the server are left"
rm -rf "$TALVEX_GLOBAL_DIR"
echo "No process, segment or file is left."
