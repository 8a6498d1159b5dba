#!/bin/bash
# try_packages.sh: in a Debian of their own, with everything in /try, installs an earlier build of the
# packages, upgrades, removes and purges it, and looks at what is left; puts the library for another
# version of the server beside this one; and runs the tests of what is installed.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
cd /try
fail() {
    echo "error: $*" >&2
    exit 1
}
quietly() { "$@" >log 2>&1 || { tail -n 40 log; fail "$*"; }; }
apt() { quietly apt-get --yes --no-install-recommends "$@"; }
# source_is NAME: the packages are those of /try/NAME.
source_is() {
    echo "deb [trusted=yes] file:/try/$1 ./" >/etc/apt/sources.list.d/try.list
    apt update
}
files() {
    find / -xdev \( -path /proc -o -path /try -o -path /tmp -o -path /var/cache -o -path /var/log \
        -o -path /var/lib/apt -o -path '/var/lib/dpkg/*-old' -o -path '/etc/*-' \) -prune -o -print | sort
}
# versions_are WANTED: each of the packages is installed in this version.
versions_are() {
    diff <(dpkg-query --show --showformat '${db:Status-Status} ${Version}\n' "${packages[@]}" | sort -u) \
        <(echo "installed $1")
}

# No service starts here.
printf '#!/bin/sh\nexit 101\n' >/usr/sbin/policy-rc.d
chmod +x /usr/sbin/policy-rc.d
mapfile -t packages < <(sed -n 's/^Package: //p' current/Packages | grep -v -e -dbgsym)
version=$(sed -n 's/^Version: //p' current/Packages | sort -u)
[ ${#packages[@]} = 6 ] || fail "there are not six packages but ${packages[*]}"

# What they need comes first, so that what is new afterwards is theirs.
source_is earlier
apt install systemd-standalone-sysusers
mapfile -t needs < <(apt-get install --simulate --no-install-recommends "${packages[@]}" |
    awk '/^Inst/ { print $2 }' | grep -vxF -f <(printf '%s\n' "${packages[@]}"))
apt install "${needs[@]}"
files >before

apt install "${packages[@]}"
versions_are "0.9.9-${version#*-}"
id tvsi
source_is current
apt upgrade
versions_are "$version"
for program in tvsistat tvsi-reader tvsi-exporter tvxstandin; do
    "$program" --version | grep -wF "${version%-*}" >/dev/null || fail "$program isn't $version"
done
[ -z "$(find /etc/systemd/system -name 'tvsi*')" ] || fail "a service was enabled"
files | comm -13 before - | grep __pycache__ >/dev/null || fail "Python compiled nothing"

apt remove "${packages[@]}"
files | comm -13 before - | grep -vE '^/var/lib/(dpkg/info|systemd/deb-systemd-helper-enabled)/' &&
    fail "that is left after the removal"
apt purge "${packages[@]}"
files | comm -13 before - | grep . && fail "that is left after the purge"
# The user stays, for files may be its own.
id tvsi
echo "Installed, upgraded, removed and purged: nothing is left but the user."

apt install libtvsi-dev ./libtvsi-*.deb
find /usr/lib -name 'libtvsi*' | sort | tee libraries
[ "$(grep -c -e '-64\.so$' libraries)" = 2 ] || fail "there are not the libraries of two versions"
apt purge 'libtvsi-[0-9]*' libtvsi-dev

# The tests of what is installed, each with nothing but what it says that it needs.
while IFS=: read -r field value; do
    case $field in
    Tests) test=${value# } ;;
    Depends)
        apt satisfy "$value"
        echo "Running the test '$test'"
        (cd source && quietly "debian/tests/$test")
        apt purge "${packages[@]}"
        ;;
    esac
done <source/debian/tests/control
