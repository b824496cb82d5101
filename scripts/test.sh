#!/usr/bin/env bash
# Builds and runs the whole test suite natively (the fuzz targets among it, as replay programs over
# their seeds and regression inputs), checks the formatting and runs the clang-tidy checks, runs
# the suite again with AddressSanitizer and UndefinedBehaviorSanitizer (clang), runs the
# end-to-end tests under valgrind, runs each fuzz target for a bounded time, cross-builds for
# 32-bit ARM and runs the suite under qemu-arm, then builds the Debian packages for both and checks
# them (scripts/packages.sh), and rolls a firmware update out through Debian's Mender client with
# the packaged update module (scripts/mender.sh, as root). Installs missing Debian packages first.
#   scripts/test.sh            everything
#   scripts/test.sh native     the native build and its tests only
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
jobs=$(nproc)
what=${1:-all}

echo "== Native build and tests"
need_native
cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVXSENSOR_WERROR=ON \
      -DVXSENSOR_BUILD_BENCH=ON -DVXSENSOR_BUILD_FUZZ=ON
cmake --build build/native -j"$jobs"
ctest --test-dir build/native --output-on-failure -j"$jobs"

[ "$what" = native ] && exit 0

echo "== Formatting (clang-format, the style in .clang-format)"
need_checks
find include src sim trace tools tests fuzz bench examples \( -name '*.cpp' -o -name '*.h' \) -print0 |
    xargs -0 clang-format --dry-run --Werror

echo "== clang-tidy (the checks in .clang-tidy)"
bash scripts/tidy.sh

echo "== Sanitizer build (clang, AddressSanitizer + UndefinedBehaviorSanitizer)"
CC=clang CXX=clang++ cmake -S . -B build/sanitize -DCMAKE_BUILD_TYPE=RelWithDebInfo \
      -DVXSENSOR_SANITIZE=ON -DVXSENSOR_WERROR=ON -DVXSENSOR_BUILD_EXAMPLES=OFF
cmake --build build/sanitize -j"$jobs"
ctest --test-dir build/sanitize --output-on-failure -j"$jobs"

echo "== End-to-end tests under valgrind memcheck"
for t in build/native/tests/test_e2e_*; do
    echo "-- $(basename "$t")"
    valgrind --quiet --error-exitcode=9 --leak-check=full --errors-for-leak-kinds=definite,indirect \
        "$t" --gtest_brief=1
done

echo "== Fuzz targets, 20 s each (libFuzzer, AddressSanitizer + UndefinedBehaviorSanitizer)"
bash scripts/fuzz.sh 20

echo "== 32-bit ARM build, tests under qemu-arm"
need_cross
cmake -S . -B build/armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake \
      -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVXSENSOR_WERROR=ON -DVXSENSOR_BUILD_EXAMPLES=OFF
cmake --build build/armhf -j"$jobs"
ctest --test-dir build/armhf --output-on-failure -j"$jobs"

echo "== Debian packages (amd64, armhf cross-built): lintian, the extracted packages at work"
bash scripts/packages.sh

echo "== Fleet rollout: Mender client, standalone, the packaged update module and an emulated camera"
bash scripts/mender.sh
