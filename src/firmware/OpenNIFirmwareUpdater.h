// Firmware update of OpenNI cameras, in normal and bootloader mode: the raw image into flash so
// that it ends at 0x40000, verified by reading it back.
#pragma once

#include "firmware/IFirmwareUpdater.h"

namespace libvxsensor {

class OpenNIFirmwareUpdater : public IFirmwareUpdater {
public:
    void updateFirmware(vx_device_t* device, ByteView data, UpgradeCallback callback) override;
    CheckResult check(DeviceFacts& facts, ByteView data) override;
};

}  // namespace libvxsensor
