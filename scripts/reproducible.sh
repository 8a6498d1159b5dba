#!/usr/bin/env bash
# Builds this tree twice, in different folders, at different times and under different settings, and
# compares every file that is installed, to the byte.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

[ $# -eq 0 ] || fail "Usage: scripts/reproducible.sh"
need build doc
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT

# build_in FOLDER: copies the tree there, builds it, and installs it under $directory/FOLDER.installed.
build_in() {
    local tree=$directory/$1
    say "Building in $tree"
    mkdir -p "$tree"
    git -c safe.directory="$PWD" ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents --target-directory "$tree"
    (
        cd "$tree"
        cmake --preset release -DTVSI_BUILD_DOC=ON -DCMAKE_INSTALL_PREFIX=/usr --log-level=WARNING >/dev/null
        cmake --build --preset release
        DESTDIR=$directory/$1.installed cmake --install build/release >/dev/null
    )
}

# Nothing may come from a cache of compiled files: it would be one build.
export CCACHE_DISABLE=1
build_in short
(
    umask 027
    export TZ=Pacific/Chatham LC_ALL=C.UTF-8 HOME=/nonexistent
    build_in "another/and a longer one"
)

say "Comparing"
cd "$directory/short.installed"
other="$directory/another/and a longer one.installed"
diff <(find . | sort) <(cd "$other" && find . | sort) || fail "the builds install different files"
count=0 different=0
while IFS= read -r file; do
    count=$((count + 1))
    if [ -L "$file" ]; then
        [ "$(readlink "$file")" = "$(readlink "$other/$file")" ] || different=$((different + 1))
    else
        cmp "$file" "$other/$file" || different=$((different + 1))
    fi
done < <(find . ! -type d | sort)
[ $different -eq 0 ] || fail "$different of $count files differ"
say "All $count files are the same to the byte"
