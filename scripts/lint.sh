#!/usr/bin/env bash
# Format, rooms, static analysis, and the promises that sources and headers compile on their own.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"
need build test fuzz bench lint

# Files of the repository that match the patterns, also new ones that aren't committed yet.
files() {
    git -c safe.directory="$PWD" ls-files --cached --others --exclude-standard -- "$@" | sort -u |
        while read -r file; do
            [ ! -f "$file" ] || printf '%s\n' "$file"
        done
}

say "Format"
files '*.c' '*.cpp' '*.h' '*.hpp' '*.inc' | xargs -r clang-format --dry-run --Werror

say "Shell scripts"
files '*.sh' .ci/run | xargs -r shellcheck --external-sources

say "Rooms"
scripts/check_layers

say "Dialect of the library"
! files 'src/*.cpp' 'src/*.h' |
    xargs grep -nE '^#include <(assert|errno|limits|locale|s(ignal|td\w+|tring)|time)\.h>|^} /\*' ||
    fail "in src/ it is <cerrno>, not <errno.h>, and a namespace ends with // namespace"

say "Headers on their own"
check_header() {
    local compiler=$1
    shift
    echo "#include \"$header\"" | "$compiler" -fsyntax-only -Wall -Wextra -Werror "$@" -
}
for header in include/*.h; do
    check_header gcc -x c -std=c11 -pedantic-errors -Iinclude -I.
    check_header g++ -x c++ -std=c++11 -pedantic-errors -Iinclude -I.
    check_header g++ -x c++ -std=c++20 -pedantic-errors -Iinclude -I.
done
for standard in 17 20; do
    header=include/tvsi.hpp check_header g++ -x c++ -std=c++$standard -pedantic-errors \
        -fno-exceptions -fno-rtti -Iinclude
done
for header in src/*.h; do
    check_header g++ -x c++ -std=c++20 -Iinclude -Isrc -I.
done
for headers in "$(ls src/*.h include/*.h)" "$(ls -r src/*.h include/*.h)"; do
    # shellcheck disable=SC2086 # one word a header
    printf '#include "%s"\n' $headers |
        g++ -x c++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -Iinclude -Isrc -I. -
done

say "Library sources without the build system"
printf '%s\n' src/*.cpp | xargs -n 1 -P 2 g++ -std=c++20 -fPIC -Iinclude -Isrc -fsyntax-only

say "Order of the locks"
tests/package/locks_test.sh .

say "Static analysis"
cmake --preset lint --log-level=WARNING >/dev/null
files '*.c' '*.cpp' |
    xargs -n 1 -P 2 clang-tidy --quiet -p build/lint 2>&1 | sed '/ warnings\{0,1\} generated\.$/d'

say "No findings"
