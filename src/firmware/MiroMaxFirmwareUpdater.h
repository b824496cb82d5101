// Firmware update of MiroMax cameras (Ethernet only): the package is streamed into one raw-data
// object, then the camera installs it and reports its own state, percentage and message.
#pragma once

#include <array>
#include <cstdint>

#include "firmware/IFirmwareUpdater.h"
#include "firmware/MiroMaxFirmwareParser.h"

namespace libvxsensor {

// The camera's upgrade-status structure 1006 as decoded from its 260 bytes:
//   0 i16 status | 2 i16 percent | 4 char[256] message, zero-terminated
struct VXDeviceUpgradeStatus {
    int16_t status = 0;
    int16_t percent = 0;
    std::array<char, 256> message{};  // always zero-terminated
};

class MiroMaxFirmwareUpdater : public IFirmwareUpdater {
public:
    void updateFirmware(vx_device_t* device, ByteView data, UpgradeCallback callback) override;
    CheckResult check(DeviceFacts& facts, ByteView data) override;

    void updateProc(vx_device_t* device, MiroMaxFirmwareParser& parser,
                    const UpgradeCallback& callback);
    static void getUpdateState(vx_device_t* device, VXDeviceUpgradeStatus& status);
    // Codes -8..5 are upgrade states of the same value; any other code is -6 (failed).
    static VXUpgradeState convertUpgradeStatus(int16_t code);
};

}  // namespace libvxsensor
