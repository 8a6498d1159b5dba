#!/usr/bin/env bash
# layers_test.sh SOURCE_DIR: includes keep to the rooms, and scripts/check_layers names each that
# does not.
set -euo pipefail
source_dir=$1
"$source_dir/scripts/check_layers" "$source_dir"

copy=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$copy"' EXIT
(cd "$source_dir" && cp -r docs include src catalogue standin tvsistat "$copy")
plant() { sed -i "1i#include \"$2\"" "$copy/$1"; }
plant src/unixerr.cpp hostunix.h
plant src/hostmutex.h shrpc.h
plant include/tvsi.h utl.h
plant standin/member.h hostshr.h
plant tvsistat/main.cpp shrpclayout.h
plant tvsistat/main.cpp netinfolocal.h
plant catalogue/statscatalogue.h include/shrpcstats.h
touch "$copy/tvsistat/utl.h" "$copy/src/stray.cpp"
sed -i '/.utlbase. |/d; s|\(.\)catalogue/., .src/layout|\1src|' "$copy/docs/design.md"

diff -u - <("$source_dir/scripts/check_layers" "$copy" 2>&1 | sed "s|$copy/||; s/, here.*//; s/are .*/.../") <<'FAULTS'
src/stray.cpp: is in no room: scripts/check_layers and docs/design.md have the tables
tvsistat/utl.h: src/utl.h has the same name
catalogue/statscatalogue.h:1: includes include/shrpcstats.h by its folder
include/tvsi.h:1: includes utl.h of src/host/, which include/ may not
src/hostmutex.h:1: includes shrpc.h above it, of src/segment
src/unixerr.cpp:1: includes hostunix.h to its right in src/host
standin/member.h:1: includes hostshr.h of src/segment/, which standin/ may not
tvsistat/main.cpp:1: includes netinfolocal.h of src/discovery/, which tvsistat/ may not
tvsistat/main.cpp:2: includes shrpclayout.h of src/layout/, which tvsistat/ may not
docs/design.md: standin/ may include ['src']
docs/design.md: the rooms of src/ ...
FAULTS
