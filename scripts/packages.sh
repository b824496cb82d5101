#!/usr/bin/env bash
# Builds the Debian packages from a copy of the source (the checkout stays clean): amd64 natively,
# armhf with Debian's cross toolchain. Checks every .deb, .changes and .buildinfo with lintian,
# then uses the amd64 packages where they land: extracted into a scratch root, vxfw updates an
# emulated camera, and a consumer program builds against the -dev packages through CMake and
# through pkg-config and runs. The armhf packages are checked for their files and ARM binaries,
# and their vxfw runs under qemu-arm. The packages stay in build/packages/ARCH/.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
top=$PWD
out=$top/build/packages
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
native=$(dpkg --print-architecture)
need_packaging

fail() {
    echo "packages: $*" >&2
    exit 1
}

# What is committed and what is not yet (less what .gitignore keeps out): what a clone would hold
# after a commit.
copy_source() {
    mkdir -p "$1"
    git ls-files -z --cached --others --exclude-standard |
        tar --null -T - --ignore-failed-read -cf - | tar -xf - -C "$1"
}

build_packages() {
    local arch=$1 profiles=()
    [ "$arch" = "$native" ] || profiles=(-Pcross)
    local src=$work/$arch/vxsensor-ext
    copy_source "$src"
    need_build_deps "$arch" "$src" "${profiles[@]}"
    rm -rf "${out:?}/$arch"
    mkdir -p "$out/$arch"
    echo "-- dpkg-buildpackage -a $arch${profiles[*]:+ ${profiles[*]}} -b -us -uc (log: build/packages/$arch/build.log)"
    if ! (cd "$src" && DEB_BUILD_OPTIONS="nocheck parallel=$(nproc)" \
        dpkg-buildpackage -a "$arch" "${profiles[@]}" -b -us -uc) >"$out/$arch/build.log" 2>&1; then
        tail -n 40 "$out/$arch/build.log"
        fail "the $arch package build failed"
    fi
    mv "$work/$arch"/*.deb "$work/$arch"/*.changes "$work/$arch"/*.buildinfo "$out/$arch/"
    echo "-- lintian ($arch)"
    lintian --fail-on error --info "$out/$arch"/*.changes || fail "lintian found errors in the $arch packages"
    (cd "$out/$arch" && for deb in *.deb; do printf '   %-48s %8s bytes\n' "$deb" "$(stat -c %s "$deb")"; done)
}

# Every package, on either architecture, holds what its users look for.
check_contents() {
    local arch=$1 multiarch deb listing
    multiarch=$(dpkg-architecture -a "$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
    local -A expected=(
        [libvxsensor-ext1]="./usr/lib/$multiarch/libvxsensor_ext.so.1"
        [libvxsensor-ext-dev]="./usr/include/vxsensor/vx_extension.h ./usr/include/vxsensor/vx_host.h
            ./usr/lib/$multiarch/libvxsensor_ext.so ./usr/lib/$multiarch/pkgconfig/vxsensor_ext.pc
            ./usr/lib/$multiarch/cmake/vxsensor_ext/vxsensor_extConfig.cmake"
        [libvxsensor-sim1]="./usr/lib/$multiarch/libvxsensor_sim.so.1"
        [libvxsensor-sim-dev]="./usr/include/vxsim/Emulator.h ./usr/lib/$multiarch/libvxsensor_sim.so
            ./usr/lib/$multiarch/pkgconfig/vxsensor_sim.pc
            ./usr/lib/$multiarch/cmake/vxsensor_ext/vxsensor_simTargets.cmake"
        [vxfw]="./usr/bin/vxfw ./usr/share/man/man1/vxfw.1.gz
            ./usr/share/bash-completion/completions/vxfw ./usr/bin/vxsensor-camera-artifact
            ./usr/share/mender/modules/v3/vxsensor-camera
            ./usr/lib/vxsensor/libvxsensor_record.so"
    )
    local package path
    for package in "${!expected[@]}"; do
        deb=$(ls "$out/$arch/${package}_"*"_$arch.deb" 2>/dev/null) || fail "no $package package for $arch"
        listing=$(dpkg-deb -c "$deb" | awk '{ print $6 }')
        for path in ${expected[$package]}; do
            grep -qxF "$path" <<<"$listing" || fail "$package ($arch) lacks ${path#.}"
        done
    done
    # Debian packages find their libraries in the system's search path, never through an RPATH.
    for deb in "$out/$arch"/*.deb; do
        [[ $deb == *-dbgsym_* ]] || dpkg -x "$deb" "$work/root-$arch"
    done
    local elf
    for elf in "$work/root-$arch/usr/bin/vxfw" "$work/root-$arch/usr/lib/$multiarch"/lib*.so.1; do
        ! readelf -d "$elf" | grep -qE '\((RUNPATH|RPATH)\)' || fail "${elf#"$work"/} has an RPATH"
    done
    echo "-- $arch packages hold their files; no RPATH"
}

echo "== Debian packages"
build_packages "$native"
build_packages armhf
check_contents "$native"
check_contents armhf

root=$work/root-$native
libdir=$root/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
echo "== The $native packages at work, extracted into a scratch root"
cmake -DREADELF=readelf -DLIBRARY="$libdir/libvxsensor_ext.so.1" -P tests/packaging/CheckHardening.cmake
cmake -DNM=nm -DLIBRARY="$libdir/libvxsensor_ext.so.1" -DMAP=src/libvxsensor_ext.map \
    -P tests/packaging/CheckExports.cmake
zcat "$root/usr/share/man/man1/vxfw.1.gz" | grep -q '^\.SS "vxfw update"' || fail "the man page lacks vxfw update"

vxfw() { LD_LIBRARY_PATH=$libdir "$root/usr/bin/vxfw" "$@"; }
echo "\$ vxfw sim list"
vxfw sim list
echo "\$ vxfw pack examples/sample/l840-firmware.json -o l840-sample.fw"
vxfw pack examples/sample/l840-firmware.json -o "$work/l840-sample.fw"
echo "\$ vxfw update l840-sample.fw --sim l840"
vxfw update "$work/l840-sample.fw" --sim l840 | tee "$work/update.txt"
grep -q "^Result: done" "$work/update.txt" || fail "the packaged vxfw did not update the emulated camera"

echo "-- a consumer through find_package(vxsensor_ext) (CMAKE_PREFIX_PATH=root/usr)"
cmake -S tests/packaging/consumer -B "$work/consumer" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/consumer" >/dev/null
LD_LIBRARY_PATH=$libdir "$work/consumer/consumer" | tee "$work/consumer.txt"
grep -q "^commit " "$work/consumer.txt" || fail "the CMake consumer did not run"

echo "-- a consumer through pkg-config (PKG_CONFIG_PATH=root's pkgconfig)"
flags=$(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --cflags --libs vxsensor_ext vxsensor_sim)
echo "   $flags"
[[ $flags == *"-I$root/"* && $flags == *"-L$root/"* ]] || fail "pkg-config does not point into the root"
# shellcheck disable=SC2086 # the flags are words
c++ tests/packaging/consumer/main.cpp $flags -o "$work/consumer-pkg-config"
LD_LIBRARY_PATH=$libdir "$work/consumer-pkg-config" | tee "$work/consumer.txt"
grep -q "^commit " "$work/consumer.txt" || fail "the pkg-config consumer did not run"

echo "-- the extension's packages alone serve find_package and pkg-config, without the emulator"
extroot=$work/root-ext-only
for package in libvxsensor-ext1 libvxsensor-ext-dev; do
    dpkg -x "$out/$native/${package}_"*"_$native.deb" "$extroot"
done
PKG_CONFIG_LIBDIR=$extroot/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/pkgconfig \
    pkg-config --exists vxsensor_ext || fail "pkg-config vxsensor_ext fails from libvxsensor-ext-dev alone"
# The consumer asks for the emulator too: refused for that reason, and no other.
if cmake -S tests/packaging/consumer -B "$work/consumer-ext-only" -DCMAKE_PREFIX_PATH="$extroot/usr" \
    >"$work/ext-only.txt" 2>&1 || ! grep -q "component sim: the emulator is not installed" "$work/ext-only.txt" ||
    grep -q "does not exist" "$work/ext-only.txt"; then
    cat "$work/ext-only.txt"
    fail "find_package(vxsensor_ext) from libvxsensor-ext-dev alone does not behave"
fi

echo "== The armhf packages: ARM binaries, and vxfw under qemu-arm"
armroot=$work/root-armhf
for elf in "$armroot/usr/lib/arm-linux-gnueabihf/libvxsensor_ext.so.1" "$armroot/usr/bin/vxfw"; do
    desc=$(file -L "$elf")
    echo "   ${desc#"$work"/}"
    [[ $desc == *"ELF 32-bit LSB"*", ARM, EABI5"* ]] || fail "${elf#"$work"/} is not a 32-bit ARM binary"
done
LD_LIBRARY_PATH=$armroot/usr/lib/arm-linux-gnueabihf qemu-arm -L /usr/arm-linux-gnueabihf \
    "$armroot/usr/bin/vxfw" sim list | grep -q '^l840 ' || fail "the armhf vxfw does not list the emulated models"
echo "   armhf vxfw sim list under qemu-arm: the emulated models"
echo "== Packages built and checked: build/packages/$native, build/packages/armhf"
