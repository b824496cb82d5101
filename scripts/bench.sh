#!/usr/bin/env bash
# Builds the benchmarks in Release and runs them. Installs missing Debian packages first.
# Extra arguments go to the benchmark program (e.g. --benchmark_filter=Flash).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
need_native
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVXSENSOR_BUILD_BENCH=ON \
      -DVXSENSOR_BUILD_TESTS=OFF -DVXSENSOR_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/bench -j"$(nproc)" --target vxsensor_bench >/dev/null
./build/bench/bench/vxsensor_bench "$@"
