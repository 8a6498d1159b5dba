#!/usr/bin/env bash
# readme_example_test.sh SOURCE_DIR: the README's C program is the one in examples/, to the byte.
set -euo pipefail
example=$(awk '/^```$/ { inside = 0 } inside; /^```c$/ { inside = 1 }' "$1/README.md")
diff -u "$1/examples/snapshot.c" - <<<"$example"
