#!/usr/bin/env bash
# silent_resolver_test.sh READER STANDIN: a name server that never answers costs tvsi-reader some
# seconds, not minutes. Runs in namespaces of its own, where such a server can be set up.
set -euo pipefail
reader=$1
standin=$2

if [ -z "${IN_NAMESPACES:-}" ]; then
    unshare --mount --net true 2>/dev/null || exit 77
    IN_NAMESPACES=1 exec unshare --mount --net --kill-child --fork "$0" "$@"
fi
directory=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null || true; wait; rm -rf "$directory"' EXIT
echo 'nameserver 127.0.0.1' >"$directory/resolv.conf"
echo 'hosts: dns' >"$directory/nsswitch.conf"
mount --bind "$directory/resolv.conf" /etc/resolv.conf
mount --bind "$directory/nsswitch.conf" /etc/nsswitch.conf
python3 - "$directory/bound" <<'PYTHON' &
import fcntl, signal, socket, struct, sys
silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
IFF_UP, SIOCSIFFLAGS = 1, 0x8914
fcntl.ioctl(silent, SIOCSIFFLAGS, struct.pack("16sh14x", b"lo", IFF_UP))
silent.bind(("127.0.0.1", 53))
open(sys.argv[1], "w").close()
signal.pause()
PYTHON
mkdir "$directory/global"
"$standin" --brox prod --dir "$directory/global" --sessions 1 >"$directory/standin" &
for _ in $(seq 1200); do
    [ -e "$directory/bound" ] && grep -q ready "$directory/standin" && break
    sleep 0.1
done
export TALVEX_GLOBAL_DIR=$directory/global

milliseconds() {
    local start
    start=$(date +%s%3N)
    "$@" "$reader" --brox prod --count 1 >"$directory/stream"
    echo $(($(date +%s%3N) - start))
}
own=$(milliseconds env)
patient=$(milliseconds env RES_OPTIONS='timeout:4 attempts:2')
echo "$own ms, and $patient ms with more patience"
[ "$patient" -ge 8000 ] || {
    echo "RES_OPTIONS was not heeded, or nobody asked the name server"
    exit 1
}
[ "$own" -lt "$patient" ]
