#!/usr/bin/env bash
# units_test.sh SOURCE_DIR EXPORTER READER TVSISTAT: systemd understands the units, finds each exposed by 2.0 of
# 10 at most, and nothing in them deletes a server's cache or hides it.
set -euo pipefail
command -v systemd-analyze >/dev/null || exit 77
units=$1/exporter/systemd
directory=$(mktemp -d --tmpdir "tvsi-test.$$.XXXXXX")
trap 'rm -rf "$directory"' EXIT

for name in tvsi-exporter.service tvsi-reader@.service tvsi-reader.socket; do
    copy=${name/tvsi-reader/tvsi-reader-prod}
    sed "s|/usr/bin/tvsi-exporter|$2|; s|/usr/bin/tvsi-reader|$3|" "$units/$name" >"$directory/$copy"
done
recorder=tvsi-recorder@prod.service
sed "s|/usr/bin/tvsistat|$4|" "$1/tvsistat/systemd/tvsi-recorder@.service" >"$directory/$recorder"
# The drop-in as systemd merges it: what stands later holds.
sed "s|/usr/bin/tvsi-exporter|$2|" "$units/split.conf" |
    sed '/^\[Install\]/,$d' | cat <(sed '/^\[Install\]/,$d' "$directory/tvsi-exporter.service") - \
    >"$directory/tvsi-split.service"
for unit in tvsi-exporter.service tvsi-reader-prod@.service tvsi-split.service "$recorder"; do
    systemd-analyze security --offline=yes --threshold=20 --no-pager "$directory/$unit" >"$directory/log" ||
        { tail -n 1 "$directory/log"; exit 1; }
done
problems=$(systemd-analyze verify --man=no "$directory"/tvsi-{exporter,split}.service \
    "$directory/tvsi-reader-prod.socket" "$directory/$recorder" 2>&1 | grep "$directory" || true)
[[ -z $problems ]] || { echo "$problems"; exit 1; }
if grep -E '^(DynamicUser|RemoveIPC|PrivateIPC)=yes' "$units"/*.service "$1"/tvsistat/systemd/*.service; then
    echo "a unit above deletes or hides what belongs to a server of its user"
    exit 1
fi
