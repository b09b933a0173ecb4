# SPDX-License-Identifier: Apache-2.0
# What the scripts share; sourced, not run.

set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"
jobs=$(nproc)

# ccache finds what one configuration compiled for another, wherever the tree lies.
export CCACHE_BASEDIR=$top CCACHE_NOHASHDIR=1

fail() {
    echo "${0##*/}: $*" >&2
    exit 2
}

# check_options NUMBERS TEXTS FLAGS ARGUMENT...: refuses what is none of these options, each kind given as a|b, before
# a build takes its time.
check_options() {
    local numbers="^--($1)\$" texts="^--($2)\$" flags="^--($3)\$"
    shift 3
    while [ $# -gt 0 ]; do
        if [[ $1 =~ $numbers ]]; then
            [[ ${2:-} =~ ^[0-9]+$ ]] || fail "$1 takes a number (--help tells more)"
            shift
        elif [[ $1 =~ $texts ]]; then
            [ -n "${2:-}" ] || fail "$1 takes a path (--help tells more)"
            shift
        elif [[ ! $1 =~ $flags ]]; then
            fail "no option '$1' (--help tells more)"
        fi
        shift
    done
}

# need PACKAGE...: installs the Debian packages that are missing, as root or through sudo.
need() {
    command -v dpkg-query >/dev/null ||
        fail "Debian's packages are needed (made for Debian 12); install by hand: $*"
    local package missing=()
    for package in "$@"; do
        [ "$(dpkg-query -Wf '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "Installing: ${missing[*]}" >&2
    local root=()
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null ||
            fail "run as root, or install sudo, to install: ${missing[*]}"
        root=(sudo)
    fi
    "${root[@]}" apt-get update -q >&2
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends "${missing[@]}" >&2
}

need_build() {
    need cmake ninja-build g++ ccache libcli11-dev nlohmann-json3-dev libpugixml-dev libedit-dev \
        android-liblog android-liblog-dev mobile-broadband-provider-info libgtest-dev libgmock-dev
}

need_clang() {
    need clang libclang-rt-14-dev
}

need_libcxx() {
    need_clang
    need libc++-dev libc++abi-dev googletest
}

# need_arch ARCH: the compiler and the emulator for that architecture, and under build/ a root folder with its
# packages. They are downloaded and unpacked there; this machine's own list of packages stays as it is.
need_arch() {
    local debian compiler
    case $1 in
    aarch64) debian=arm64 compiler=g++-aarch64-linux-gnu ;;
    armhf) debian=armhf compiler=g++-arm-linux-gnueabihf ;;
    esac
    need "$compiler" qemu-user
    local packages=(libstdc++-12-dev libcli11-dev nlohmann-json3-dev libpugixml-dev libedit-dev
        android-liblog-dev libgtest-dev libgmock-dev libbenchmark-dev)
    local root=$top/build/sysroot-$1
    [ "$(cat "$root/packages" 2>/dev/null)" != "${packages[*]}" ] || return 0

    echo "Unpacking into build/sysroot-$1: ${packages[*]}" >&2
    rm -rf "$root"
    mkdir -p "$root"/usr/{bin,sbin,lib} "$root"/apt/{state/lists,cache/archives}/partial
    local folder
    for folder in bin sbin lib; do ln -s "usr/$folder" "$root/$folder"; done
    : >"$root/apt/status"
    local apt=(apt-get -q -o Dir::State="$root/apt/state" -o Dir::State::status="$root/apt/status"
        -o Dir::Cache="$root/apt/cache" -o APT::Architecture="$debian" -o APT::Architectures="$debian"
        -o APT::Sandbox::User="$(id -un)")
    # A source without this architecture is no loss, as long as the packages are found.
    "${apt[@]}" update >&2 || true
    "${apt[@]}" install -y --no-install-recommends --download-only "${packages[@]}" >&2
    local archive link
    for archive in "$root"/apt/cache/archives/*.deb; do
        dpkg-deb --fsys-tarfile "$archive" | tar -x --keep-directory-symlink -C "$root"
    done
    find "$root" -type l -lname '/*' | while read -r link; do
        ln -sfnr "$root$(readlink "$link")" "$link"
    done
    rm -r "$root/apt"
    echo "${packages[*]}" >"$root/packages"
}

# build PRESET [TARGET...]: configures when needed, and builds.
build() {
    local preset=$1
    shift
    cmake --preset "$preset" --log-level=WARNING >&2
    cmake --build "build/$preset" -j "$jobs" ${1:+--target "$@"} >&2
}

# under_sanitizer PRESET COMMAND...: runs it as the preset's sanitizer wants.
under_sanitizer() {
    local preset=$1 fixed=()
    shift
    export ASAN_OPTIONS=detect_stack_use_after_return=1:allocator_may_return_null=1
    export LSAN_OPTIONS=suppressions=$top/tests/leaks.txt:print_suppressions=0
    export UBSAN_OPTIONS=print_stacktrace=1
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
    # Layouts that the thread sanitizer cannot map are kept away by a fixed one, where that is allowed.
    if [[ $preset == *tsan ]] && setarch -R true 2>/dev/null; then
        fixed=(setarch -R)
    fi
    "${fixed[@]}" "$@"
}
