// Firmware update of the L5Pro camera (and the L945Se group, which it serves): the whole image
// goes to the camera as raw data, then the camera installs it itself and reports through its
// upgrade-status structure, which the updater follows.
#pragma once

#include "firmware/IFirmwareUpdater.h"

namespace libvxsensor {

class L5ProFirmwareUpdater : public IFirmwareUpdater {
public:
    void updateFirmware(vx_device_t* device, ByteView data, UpgradeCallback callback) override;
    CheckResult check(DeviceFacts& facts, ByteView data) override;

    // Image kinds, told apart by their first bytes. Anything else is main firmware in the L840
    // container format.
    static bool isCompositeFirmwareFirmware(ByteView data);    // "PK\3\4"
    static bool isComputingPowerBoardFirmware(ByteView data);  // "OTRA"
    static bool isPresetFirmware(ByteView data);               // "VXPRESET"
};

}  // namespace libvxsensor
