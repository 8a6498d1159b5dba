#!/usr/bin/env bash
# reader_file_test.sh PROGRAM MANUAL: the manual page of tvsi-reader knows its options.
set -euo pipefail
program=$1
manual=$2

options=$("$program" --help | grep -o -- '^  -., --[a-z]*' | grep -o -- '--.*' | cut -c 3-)
number=$(wc -w <<<"$options")
[ "$number" -eq 10 ] || {
    echo "its help names $number options"
    exit 1
}
for option in $options; do
    grep -q "Fl Fl $option" "$manual" || {
        echo "the manual page lacks --$option"
        exit 1
    }
done
faults=$(mandoc -T lint "$manual" | grep -v 'referenced manual not found' || true)
[ -z "$faults" ] || {
    echo "$faults"
    exit 1
}
