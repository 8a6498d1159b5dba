#!/usr/bin/env bash
# readme_example_test.sh SOURCE_DIR: the README's programs are those in examples/, to the byte.
set -euo pipefail
while read -r language file; do
    example=$(awk -v fence="\`\`\`$language" '/^```$/ { inside = 0 } inside; $0 == fence { inside = 1 }' \
        "$1/README.md")
    diff -u "$1/examples/$file" - <<<"$example"
done <<'END'
c snapshot.c
cpp watch.cpp
python watch.py
END
