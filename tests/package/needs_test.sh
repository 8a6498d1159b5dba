#!/usr/bin/env bash
# needs_test.sh PROGRAM...: each needs the C library alone, which is half of what a short run costs.
set -euo pipefail
for program in "$@"; do
    needed=$(readelf -d "$program" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | grep -v '^ld-linux' | xargs)
    [ "$needed" = libc.so.6 ] || {
        echo "$program needs $needed"
        exit 1
    }
done
