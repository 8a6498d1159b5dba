#!/usr/bin/env bash
# manual_pages_test.sh FIELD_LISTS STATS_PAGE PAGE...: the manual pages are clean, and that of the
# statistics has every field.
set -euo pipefail
lists=$1
shift
mandoc -T lint -W warning "$@"
missing=$(comm -23 \
    <(sed -nE 's/^ +(FIELD|ARRAY)\([0-9]+, \w+, (\w+),.*/\2/p' "$lists" | sort -u) \
    <(sed -nE 's/^\.It Va (\w+).*/\1/p' "$1" | sort -u))
if [[ -n $missing || ! -s $1 ]]; then
    echo "the page of the statistics lacks ${missing:-everything}"
    exit 1
fi
