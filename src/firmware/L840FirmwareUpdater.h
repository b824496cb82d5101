// Firmware update of the L840 series and the KovraA, L815 and L845Se models: component by
// component into flash, with serial and date rules, ISP components, retries and bootloader mode.
#pragma once

#include "firmware/IFirmwareUpdater.h"

namespace libvxsensor {

class L840FirmwareUpdater : public IFirmwareUpdater {
public:
    void updateFirmware(vx_device_t* device, ByteView data, UpgradeCallback callback) override;
    CheckResult check(DeviceFacts& facts, ByteView data) override;
};

}  // namespace libvxsensor
