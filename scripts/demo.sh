#!/usr/bin/env bash
# Builds the project and runs the demo against an emulated camera. Installs missing Debian
# packages first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
need_native
cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/native -j"$(nproc)" --target vxsensor_demo >/dev/null
./build/native/examples/vxsensor_demo
