#!/usr/bin/env bash
# Installs the Debian packages the build needs, only those missing. Sourced by the other scripts.
#   need_packages pkg...   installs what is not installed yet
#   need_build_deps ARCH SOURCE_DIR [-Pprofile]
#                          installs what SOURCE_DIR/debian/control's Build-Depends lack for a
#                          package build for ARCH
set -euo pipefail

need_packages() {
    local missing=()
    for pkg in "$@"; do
        dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "ok installed" || missing+=("$pkg")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    # One foreign-architecture index may fail to update; what is needed still installs.
    $sudo apt-get update -qq || true
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

NATIVE_PACKAGES=(cmake make g++ pkg-config libfmt-dev libgtest-dev libgmock-dev libbenchmark-dev
                 libcli11-dev nlohmann-json3-dev help2man bash-completion)
CROSS_PACKAGES=(g++-arm-linux-gnueabihf qemu-user libfmt-dev:armhf libcli11-dev nlohmann-json3-dev
                libgtest-dev:armhf libgmock-dev:armhf)

# The package build's own needs come from debian/control (need_build_deps).
PACKAGING_PACKAGES=(build-essential dpkg-dev debhelper lintian file pkg-config crossbuild-essential-armhf)

CHECK_PACKAGES=(clang libclang-rt-14-dev clang-format valgrind)
# Only the benchmarks compare against these; the build and the tests do without them.
BENCH_PACKAGES=(libboost-dev libisal-dev)

need_native() { need_packages "${NATIVE_PACKAGES[@]}"; }
need_checks() { need_packages "${CHECK_PACKAGES[@]}"; }
need_bench() { need_packages "${BENCH_PACKAGES[@]}"; }
need_packaging() { need_armhf_arch; need_packages "${PACKAGING_PACKAGES[@]}"; }

need_build_deps() {
    local arch=$1 src=$2
    shift 2
    (cd "$src" && dpkg-checkbuilddeps -a "$arch" "$@" 2>/dev/null) && return 0
    echo "Installing the build dependencies of the $arch packages"
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update -qq || true
    DEBIAN_FRONTEND=noninteractive $sudo apt-get build-dep -y -qq -a "$arch" "$@" "$src"
}

need_armhf_arch() {
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    if ! dpkg --print-foreign-architectures | grep -qx armhf; then
        $sudo dpkg --add-architecture armhf
        $sudo apt-get update -qq || true
    fi
}

need_cross() {
    need_armhf_arch
    need_packages "${CROSS_PACKAGES[@]}"
}
