# shellcheck shell=bash
# Starts a stand-in whose Brox is "demo", in a directory of its own, and goes there; all of it is gone
# at the end. $source_dir is where the sources are.
# shellcheck disable=SC2034
source_dir=$PWD
directory=$(mktemp -d)
# shellcheck disable=SC2046 # one word a process
trap 'kill $(jobs -p) || true; wait; rm -rf "$directory"' EXIT
cd "$directory" || exit 1
mkdir global
export TALVEX_GLOBAL_DIR=$directory/global
tvxstandin --brox demo --dir global --run-time 120 >ready &
for _ in {1..100}; do
    ! grep -q ^ready ready || break
    sleep 0.1
done
grep ^ready ready
