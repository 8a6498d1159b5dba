#!/usr/bin/env bash
# Makes the source tarball and the Debian packages of what is committed, in build/package, and tries
# them: lintian, and a Debian of their own in which they are installed, upgraded and removed.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
source "$(dirname "$0")/lib.sh"

usage() {
    cat <<EOF
Usage: scripts/package.sh [--tarball | --no-check | --full]

Makes build/package/tvsi-VERSION.tar.xz and the Debian packages beside it from the last commit, without
network and without git; lintian finds neither errors nor warnings in them; the library's, built once
more elsewhere, are the same to the byte; they are installed, upgraded, used, removed and purged in a
Debian of their own.

  --tarball   make the source tarball alone
  --no-check  make the packages, and try nothing
  --full      build all of them once more elsewhere and compare the bytes, and run piuparts, too

DEBIAN_MIRROR is where that Debian comes from; unless given, where this host's comes from.
EOF
}

mode=check
case ${1-} in
'') ;;
--tarball | --no-check | --full) mode=${1#--} ;;
-h | --help)
    usage
    exit
    ;;
*)
    usage >&2
    fail "there is no option '$1'"
    ;;
esac

out=$PWD/build/package
version_of() { sed -nE "s/^#define TVSI_$1 \"([0-9.]+)\"\$/\1/p" "$2/include/tvsi.h"; }
version=$(version_of RELEASE .)
name=tvsi-$version

# The same commit gives the same bytes.
make_tarball() {
    say "Making $name.tar.xz"
    local git=(git -c safe.directory="$PWD")
    "${git[@]}" diff --quiet HEAD || echo "What isn't committed is not in it."
    "${git[@]}" archive --format=tar --prefix="$name/" HEAD | xz -9 --threads=1 >"$out/$name.tar.xz.part"
    mv "$out/$name.tar.xz.part" "$out/$name.tar.xz"
}

# build_packages DIRECTORY ARGUMENT...: unpacks the tarball there and builds its packages.
build_packages() {
    local directory=$1 isolate=(unshare --net)
    shift
    [ "$(id -u)" -eq 0 ] || isolate+=(--map-current-user)
    rm -rf "$directory"
    mkdir -p "$directory/no-git"
    printf '#!/bin/sh\necho "git is not there to be used" >&2\nexit 1\n' >"$directory/no-git/git"
    chmod +x "$directory/no-git/git"
    tar -C "$directory" -xf "$out/$name.tar.xz"
    cp "$out/$name.tar.xz" "$directory/tvsi_$version.orig.tar.xz"
    (cd "$directory/$name" && "${isolate[@]}" env PATH="$directory/no-git:$PATH" \
        dpkg-buildpackage --no-sign --jobs-try="$(nproc)" "$@") >"$directory/log" 2>&1 ||
        { tail -n 60 "$directory/log"; fail "the packages can't be built; the whole log: $directory/log"; }
}

# Builds them, or the library's alone, once more under other circumstances: the bytes are the same.
compare_elsewhere() {
    local elsewhere package different=() arguments=(--build=any --build-profiles=pkg.tvsi.onlylib)
    [ "$mode" != full ] || arguments=()
    say "Building them once more in another directory"
    elsewhere=$(mktemp -d)
    (
        umask 027
        TZ=Pacific/Auckland LC_ALL=C build_packages "$elsewhere/another place" "${arguments[@]}"
    )
    for package in "$elsewhere/another place"/*.deb; do
        cmp "$package" "$out/${package##*/}" || different+=("${package##*/}")
    done
    [ ${#different[@]} -eq 0 ] ||
        fail "these depend on where and when they are built; the others are in $elsewhere: ${different[*]}"
    rm -rf "$elsewhere"
}

# The library of another version of the server, whose package goes beside this one's.
build_neighbour() {
    local directory=$out/neighbour interface other file
    interface=$(version_of INTERFACE_VERSION "$out/build/$name")
    other=${interface%.*}.$((${interface##*.} + 1))
    rm -rf "$directory"
    mkdir -p "$directory"
    tar -C "$directory" -xf "$out/$name.tar.xz"
    (
        cd "$directory/$name"
        sed -i "s/${interface//./\\.}/$other/g" include/tvsi.h debian/control debian/libtvsi-*.symbols
        for file in debian/libtvsi-"$interface"*; do
            mv "$file" "${file/$interface/$other}"
        done
        dpkg-buildpackage --no-sign --build=any --build-profiles=pkg.tvsi.onlylib \
            --jobs-try="$(nproc)"
    ) >"$directory/log" 2>&1 || { tail -n 60 "$directory/log"; fail "the library for $other can't be built"; }
    rm "$directory"/libtvsi-dev_*.deb
    rm -f "$directory"/*-dbgsym_*.deb
}

# find_mirror: sets `mirror` to where Debian comes from.
find_mirror() {
    # shellcheck disable=SC2016 # for apt-get
    mirror=${DEBIAN_MIRROR:-$(apt-get indextargets --format '$(REPO_URI)' 'Codename: bookworm' \
        'Component: main' 'Created-By: Packages' | sed -n 1p)}
    [ -n "$mirror" ] || fail "apt knows no place of Debian 12 (bookworm): name one in DEBIAN_MIRROR"
}

# The Debian in which packages are tried, in a file that is made once.
make_system() {
    system=$out/debian.tar
    [ ! -e "$system" ] || return 0
    say "Making a Debian to try them in"
    local directory=$out/debian.new
    find_mirror
    as_root rm -rf "$directory"
    as_root debootstrap --variant=minbase bookworm "$directory" "$mirror" >"$out/debootstrap.log" ||
        { tail -n 20 "$out/debootstrap.log"; fail "there is no Debian to try the packages in"; }
    as_root tar -C "$directory" --one-file-system -cf "$system.part" .
    mv "$system.part" "$system"
    as_root rm -rf "$directory"
}

# make_repository DIRECTORY: for apt, of the packages that are there.
make_repository() { (cd "$1" && dpkg-scanpackages . >Packages 2>/dev/null); }

# In name spaces of its own, so that mounts, processes and caches end with it.
check_in_system() {
    say "Trying them in a Debian of their own"
    local root=$out/debian.try try=$out/try package
    as_root rm -rf "$root" "$try"
    mkdir -p "$root" "$try/earlier" "$try/current"
    cp tests/package/try_packages.sh "$out"/neighbour/libtvsi-*.deb "$try/"
    cp -r "$out/build/$name" "$try/source"
    cp "$out"/*.deb "$try/current/"
    make_repository "$try/current"
    # Repacked as an earlier version.
    for package in "$out"/*.deb; do
        dpkg-deb --raw-extract "$package" "$try/package"
        sed -i "/^Version:\|^Depends:/s/\b${version//./\\.}-/0.9.9-/" "$try/package/DEBIAN/control"
        dpkg-deb --build --root-owner-group -Znone "$try/package" "$try/earlier" >/dev/null
        rm -rf "$try/package"
    done
    make_repository "$try/earlier"
    as_root tar -C "$root" -xf "$system"
    as_root mv "$try" "$root/try"
    as_root chown -R 0:0 "$root/try"
    # shellcheck disable=SC2016 # for the inner shell
    as_root unshare --mount --pid --ipc --fork sh -c \
        'mount -t proc proc "$0/proc" && exec chroot "$0" "$@"' "$root" \
        env --ignore-environment PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root \
        ${http_proxy:+"http_proxy=$http_proxy"} /try/try_packages.sh
    as_root rm -rf "$root"
}

need build package
mkdir -p "$out"
make_tarball
[ "$mode" != tarball ] || exit 0

say "Building the packages of $version"
rm -f "$out"/*.deb "$out"/tvsi_*
build_packages "$out/build"
mv "$out"/build/*.deb "$out"/build/tvsi_* "$out/"
ls "$out"/*.deb
[ "$mode" != no-check ] || exit 0

say "Looking at them with lintian"
as_user=()
[ "$(id -u)" -ne 0 ] || as_user=(--allow-root)
lintian "${as_user[@]}" --fail-on error,warning --info --pedantic "$out"/tvsi_*.changes

compare_elsewhere
make_system
build_neighbour
check_in_system
if [ "$mode" = full ]; then
    say "Looking at them with piuparts"
    find_mirror
    gzip --fast --keep --force "$system"
    as_root env -u TMPDIR piuparts --distribution=bookworm --basetgz="$system.gz" \
        --mirror="$mirror main" \
        --log-file="$out/piuparts.log" --log-level=info "$out"/tvsi_*.changes >/dev/null
    rm "$system.gz"
fi
say "The packages are in $out"
