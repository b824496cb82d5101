#!/usr/bin/env bash
# Builds and runs the whole test suite natively, then cross-builds for 32-bit ARM and runs the
# same tests under qemu-arm. Installs missing Debian packages first.
#   scripts/test.sh            both
#   scripts/test.sh native     native only
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
jobs=$(nproc)
what=${1:-all}

echo "== Native build and tests"
need_native
cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVXSENSOR_WERROR=ON \
      -DVXSENSOR_BUILD_BENCH=ON
cmake --build build/native -j"$jobs"
ctest --test-dir build/native --output-on-failure -j"$jobs"

[ "$what" = native ] && exit 0

echo "== 32-bit ARM build, tests under qemu-arm"
need_cross
cmake -S . -B build/armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVXSENSOR_WERROR=ON -DVXSENSOR_BUILD_EXAMPLES=OFF
cmake --build build/armhf -j"$jobs"
ctest --test-dir build/armhf --output-on-failure -j"$jobs"
