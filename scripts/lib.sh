# shellcheck shell=bash
# Functions that the scripts share. Sourcing it changes to the repository's root.

cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1

# The Debian packages that each purpose needs.
declare -A packages=(
    [build]="cmake g++ gcc libc6-dev libcli11-dev libfmt-dev libmicrohttpd-dev libncurses-dev
        libzstd-dev ninja-build rapidjson-dev zlib1g-dev"
    [test]="abigail-tools binutils libgmock-dev libgtest-dev mandoc mypy pkg-config procps python3
        python3-jsonschema python3-numpy python3-pip python3-setuptools python3-wheel tidy tmux zsh"
    [doc]="mandoc"
    [clang]="clang"
    [fuzz]="clang libclang-rt-14-dev"
    [coverage]="gcovr"
    [bench]="libbenchmark-dev prometheus-cpp-dev prometheus-node-exporter python3 varnish"
    [lint]="clang clang-format clang-tidy git shellcheck"
    [monitoring]="chromium chromium-driver nginx-light openssl prometheus python3-selenium"
    [package]="build-essential debhelper debootstrap dh-python dpkg-dev fakeroot git lintian mandoc
        piuparts python3 util-linux xz-utils"
)

say() { printf '\n== %s\n' "$*"; }

fail() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

# as_root COMMAND...
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        command -v sudo >/dev/null || fail "there is no sudo: run this as root"
        sudo "$@"
    fi
}

# Runs apt-get as root, with no questions asked.
apt_get() {
    as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Dpkg::Use-Pty=0 "$@" </dev/null
}

is_installed() {
    [ "$(dpkg-query --show --showformat '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# missing_of PURPOSE...: sets `missing` to the packages that these purposes lack.
missing_of() {
    local purpose package
    missing=()
    for purpose in "$@"; do
        for package in ${packages[$purpose]}; do
            is_installed "$package" || missing+=("$package")
        done
    done
}

# need PURPOSE...: installs what these purposes lack.
need() {
    local missing
    command -v dpkg-query >/dev/null || fail "this script knows Debian's packages only"
    missing_of "$@"
    [ ${#missing[@]} -gt 0 ] || return 0
    say "Installing ${missing[*]}"
    apt_get update || echo "The package lists could not be renewed; trying with those at hand."
    apt_get install --yes --no-install-recommends "${missing[@]}" >/dev/null ||
        echo "apt-get reports a failure, perhaps of another package; looking at what there is."
    missing_of "$@"
    [ ${#missing[@]} -eq 0 ] || fail "the packages could not be installed: ${missing[*]}"
}

# build PRESET [TARGET...]: configures build/PRESET and builds it, warnings being errors.
build() {
    local preset=$1
    shift
    say "Building $preset"
    cmake --preset "$preset" -DTVSI_WERROR=ON --log-level=WARNING >/dev/null
    cmake --build --preset "$preset" ${1:+--target "$@"}
}

# The environment must not change what the library does in a test or demonstration.
unset TALVEX TALVEX_GLOBAL_DIR TALVEX_NO_SETRLIMIT TX_CFTIME TX_CORE_TIME_OUT TX_DEBUG_SHARED_MEM \
    TX_DEBUG_SOCKETS TX_DISABLE_SHMDT TX_DISABLE_WARNING TX_LOGIN_NAME TX_TXLIST_TIME_FORMAT
