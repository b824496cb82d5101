// Firmware update of the L5 family, the Pellin3 and Lumex470 models and L5 bootloaders: the whole
// image into flash at the address its size selects, verified by reading it back.
#pragma once

#include "firmware/IFirmwareUpdater.h"

namespace libvxsensor {

class L5FirmwareUpdater : public IFirmwareUpdater {
public:
    void updateFirmware(vx_device_t* device, ByteView data, UpgradeCallback callback) override;
    CheckResult check(DeviceFacts& facts, ByteView data) override;
};

}  // namespace libvxsensor
