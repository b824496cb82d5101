// Cameras that install what they receive (L5Pro, MiroMax) report on it through the upgrade-status
// structure 1006, 260 bytes:
//   0 i16 status (2 install started, 3 done, negative failed, other still working)
//   2 percent (L5Pro: u8, byte 3 not interpreted; MiroMax: i16)
//   4 char[256] message, zero-terminated
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "vxsensor/vx_host.h"

namespace libvxsensor {

inline constexpr size_t kInstallStatusSize = 260;
inline constexpr size_t kInstallStatusOffPercent = 2;
inline constexpr size_t kInstallStatusOffMessage = 4;
inline constexpr int16_t kInstallStarted = 2;
inline constexpr int16_t kInstallDone = 3;
// Each wait (for the start, then for the end) is this many polls with this pause between them.
inline constexpr int kInstallPolls = 1200;
inline constexpr uint32_t kInstallPollPauseMs = 500;

using InstallStatusBytes = std::array<uint8_t, kInstallStatusSize>;

// One read of the structure. The bytes a short answer leaves out are zero, and the last byte is
// always zero, so the message ends inside the structure.
InstallStatusBytes readInstallStatusBytes(vx_device_t* device);
int16_t installStatusCode(const InstallStatusBytes& raw);

// Polls until the camera says it has started installing, or the polls run out.
void waitForInstallStart(vx_device_t* device);

}  // namespace libvxsensor
