// One updater per camera family behind one interface. Progress goes to the callback as
// (state, message, percent); a failure of the transfer is reported there once, after the
// retries; refusals before any transfer are thrown.
#pragma once

#include <cstdint>
#include <functional>

#include "common/ByteView.h"
#include "vxsensor/vx_host.h"

namespace libvxsensor {

using UpgradeCallback = std::function<void(VXUpgradeState, const char*, uint8_t)>;

class IFirmwareUpdater {
public:
    // `data` is the caller's image, borrowed for the call: nothing keeps it afterwards.
    virtual void updateFirmware(vx_device_t* device, ByteView data, UpgradeCallback callback) = 0;
    virtual ~IFirmwareUpdater() = default;
};

}  // namespace libvxsensor
