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
    export UBSAN_OPTIONS=print_stacktrace=1
    export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
    # Layouts that the thread sanitizer cannot map are kept away by a fixed one, where that is allowed.
    if [[ $preset == *tsan ]] && setarch -R true 2>/dev/null; then
        fixed=(setarch -R)
    fi
    "${fixed[@]}" "$@"
}
