#!/usr/bin/env bash
# The main job, end to end against an emulated camera: builds the project, packs a sample L840
# firmware container with vxfw, inspects it, and updates an emulated L840 camera with it (with a
# progress bar on a terminal). Installs missing Debian packages first.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
need_native
cmake -S . -B build/native -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/native -j"$(nproc)" --target vxfw >/dev/null
vxfw=build/native/tools/vxfw
mkdir -p build/demo

echo "\$ vxfw pack examples/sample/l840-firmware.json -o build/demo/l840-sample.fw"
"$vxfw" pack examples/sample/l840-firmware.json -o build/demo/l840-sample.fw
echo
echo "\$ vxfw inspect build/demo/l840-sample.fw"
"$vxfw" inspect build/demo/l840-sample.fw
echo
echo "\$ vxfw update build/demo/l840-sample.fw --sim l840,conn=USB2.0,fw=1.7.16"
"$vxfw" update build/demo/l840-sample.fw --sim l840,conn=USB2.0,fw=1.7.16
