#!/usr/bin/env bash
# Fleet rollout, tried for real: Debian's Mender client, in standalone mode with a private
# configuration and data directory, installs artifacts made by vxsensor-camera-artifact through
# the vxsensor-camera update module into an emulated camera (the emulator's device plugin, a state
# file). Everything comes from the amd64 packages that scripts/packages.sh built, extracted into a
# scratch root. Runs as root: the client reads update modules only from
# /usr/share/mender/modules/v3 and needs /etc/mender/artifact_info; whatever this places there it
# removes again.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
[ "$(id -u)" -eq 0 ] || exec sudo -E bash "$0" "$@"
need_packages mender-client mender-artifact
top=$PWD
arch=$(dpkg --print-architecture)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
work=$(mktemp -d)
modules=/usr/share/mender/modules/v3
module=$modules/vxsensor-camera

fail() {
    echo "mender: $*" >&2
    exit 1
}

cleanup() {
    if [ -f "$work/module.orig" ]; then cp -p "$work/module.orig" "$module"; else rm -f "$module"; fi
    [ -f "$work/placed-artifact-info" ] && rm -f /etc/mender/artifact_info
    rm -rf "$work"
}
trap cleanup EXIT

root=$work/root
for package in libvxsensor-ext1 libvxsensor-sim1 vxfw; do
    deb=$(ls "$top/build/packages/$arch/${package}_"*"_$arch.deb" 2>/dev/null) ||
        fail "no $package package: run scripts/packages.sh first"
    dpkg -x "$deb" "$root"
done
libdir=$root/usr/lib/$multiarch

# What the client finds on a board with the vxfw package installed.
[ -f "$module" ] && cp -p "$module" "$work/module.orig"
mkdir -p "$modules" /etc/mender
install -m 755 "$root$module" "$module"
if [ ! -f /etc/mender/artifact_info ]; then
    echo "artifact_name=board-base" >/etc/mender/artifact_info
    touch "$work/placed-artifact-info"
fi

# The packaged vxfw from the scratch root, its camera named in its own configuration file.
mkdir -p "$work/bin" "$work/data/scripts"
cat >"$work/bin/vxfw" <<WRAPPER
#!/bin/sh
LD_LIBRARY_PATH=$libdir VXFW_CONFIG=$work/vxfw.conf exec $root/usr/bin/vxfw "\$@"
WRAPPER
chmod +x "$work/bin/vxfw"
export PATH=$work/bin:$root/usr/bin:$PATH
echo "VXFW=$work/bin/vxfw" >"$work/module.conf"
export VXSENSOR_CAMERA_CONF=$work/module.conf
echo "{\"DeviceTypeFile\": \"$work/data/device_type\"}" >"$work/mender.conf"
echo "device_type=camera-board" >"$work/data/device_type"

camera() {
    printf 'device-plugin = %s\ndevice = %s\n' "$libdir/libvxsensor_sim.so.1" "$1" >"$work/vxfw.conf"
}

# mender install ARTIFACT: the client's output, and its exit status in $status.
install_artifact() {
    echo "\$ mender install $(basename "$1")"
    status=0
    mender --no-syslog --config "$work/mender.conf" --data "$work/data" install "$1" \
        >"$work/out.txt" 2>&1 || status=$?
    grep -E 'vxsensor-camera|"type":"(result|camera)"|rror' "$work/out.txt" | sed 's/^/   /' || true
}

expect_in_log() {
    grep -qF "$1" "$work/out.txt" || fail "the deployment log lacks: $1"
}

vxfw pack tests/tools/device/l840-versioned.json -o "$work/l840-1.8.2.fw" >/dev/null
vxfw pack tests/tools/device/l5pro-firmware.json -o "$work/l5pro.fw" >/dev/null
(cd "$work" && vxsensor-camera-artifact -t camera-board -n camera-1.8.2 l840-1.8.2.fw &&
    vxsensor-camera-artifact -t camera-board -n l5pro-on-l840 l5pro.fw) 2>&1 | sed 's/^/   /'

echo "== A good file: the deployment succeeds and the camera holds the image"
camera "l840,state=$work/camera.state"
install_artifact "$work/camera-1.8.2.mender"
[ "$status" -eq 0 ] || { cat "$work/out.txt"; fail "the good artifact did not install"; }
expect_in_log "the camera holds the new files"
vxfw flash read 0x100000 8192 -o "$work/main.bin" >"$work/read.txt"
head -c 8192 /dev/zero | tr '\0' '\245' | cmp -s - "$work/main.bin" ||
    fail "the camera's main firmware region does not hold the image"
echo "   the camera's main firmware region holds the image (read back)"

echo "== A refused file: the deployment fails before anything is written"
cp "$work/camera.state" "$work/camera.before"
install_artifact "$work/l5pro-on-l840.mender"
[ "$status" -ne 0 ] || fail "the refused artifact was reported installed"
expect_in_log "the camera refuses this file; nothing was written"
cmp -s "$work/camera.before" "$work/camera.state" || fail "the refused deployment changed the camera"
echo "   failed; the camera's state file is byte for byte what it was"

echo "== A camera that fails mid-transfer: the deployment fails and says so"
camera "l840,state=$work/failing.state,fault=WRITE_FLASH:device-error:5"
install_artifact "$work/camera-1.8.2.mender"
[ "$status" -ne 0 ] || fail "a failed transfer was reported installed"
expect_in_log "dry run: the camera accepts the file"
expect_in_log "the transfer to the camera failed; deploy again"
expect_in_log "The boot firmware data transfer failed!"
echo "   failed, with the camera's message"

echo "== The artifact maker refuses a file that no camera model takes"
head -c 4096 /dev/urandom >"$work/noise.bin"
status=0
vxsensor-camera-artifact -t camera-board "$work/noise.bin" -o "$work/noise.mender" >/dev/null 2>&1 ||
    status=$?
if [ "$status" -ne 3 ] || [ -e "$work/noise.mender" ]; then
    fail "the artifact maker took noise (status $status)"
fi
echo "   refused with status 3, no artifact written"
echo "== Mender rollout: 3 deployments behaved"
