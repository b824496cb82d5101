#!/usr/bin/env bash
# Builds the benchmarks in Release and runs them; each program ends with a summary of ratios
# measured side by side in its own run. Installs missing Debian packages first (Boost and
# ISA-L only for the CRC comparison). Figures and what they mean: bench/README.md.
#   scripts/bench.sh                  CRC, then transfers, updates and peak heap
#   scripts/bench.sh crc|transfers    one of the two programs
#   scripts/bench.sh transfers --benchmark_filter=Update   extra arguments go to the program
# Instruction counts of a flash write, split by object: scripts/callgrind.sh.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
need_native
need_bench
what=${1:-all}
[ $# -gt 0 ] && shift
cmake -S . -B build/bench -DCMAKE_BUILD_TYPE=Release -DVXSENSOR_BUILD_BENCH=ON \
      -DVXSENSOR_BUILD_TESTS=OFF -DVXSENSOR_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/bench -j"$(nproc)" --target vxsensor_bench vxsensor_crc_bench >/dev/null
if [ "$what" = all ] || [ "$what" = crc ]; then
    ./build/bench/bench/vxsensor_crc_bench "$@"
fi
if [ "$what" = all ] || [ "$what" = transfers ]; then
    ./build/bench/bench/vxsensor_bench "$@"
fi
