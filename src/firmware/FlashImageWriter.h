// The flash-image families (L5, OpenNI) write one image to one address with read-back
// verification, up to five times; only the last attempt's failure reaches the user.
#pragma once

#include <cstdint>

#include "common/ByteView.h"
#include "firmware/IFirmwareUpdater.h"
#include "vxsensor/vx_host.h"

namespace libvxsensor {

// What an exception thrown inside an attempt means: the end of the update (the caller's catch
// frame reports it), or one failed attempt among the five.
enum class AttemptExceptions { EndTheUpdate, FailTheAttempt };

void writeFlashImage(vx_device_t* device, uint32_t address, ByteView image, uint32_t packetSize,
                     const UpgradeCallback& callback, AttemptExceptions exceptions);

}  // namespace libvxsensor
