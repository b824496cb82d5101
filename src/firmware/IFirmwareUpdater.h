// One updater per camera family behind one interface. Progress goes to the callback as
// (state, message, percent); a failure of the transfer is reported there once, after the
// retries; refusals before any transfer are thrown.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/ByteView.h"
#include "vxsensor/vx_host.h"

namespace libvxsensor {

class DeviceFacts;

using UpgradeCallback = std::function<void(VXUpgradeState, const char*, uint8_t)>;

// How an update ends when it writes nothing: with one report (a file that holds nothing for the
// camera is refused this way; an ISP part the camera already runs ends it well), or silently (a
// container without components).
struct UnwrittenEnd {
    bool silent = false;
    VXUpgradeState state = VX_UPGRADE_STATE_FAILED;
    std::string message;
    uint8_t percent = 0;
};

// A write an update would make, as its checks decided it.
struct PlannedWrite {
    std::string what;    // a component's name, or what the image is
    bool flash = true;   // else a raw-data object that the camera installs itself
    uint32_t where = 0;  // flash address, or raw-data property
    uint32_t size = 0;
    uint32_t packetSize = 0;
    bool readBack = false;  // verified by reading it back
};

// What an update's checks conclude before its first write: how it would end without writing,
// or what it would write.
struct CheckResult {
    std::optional<UnwrittenEnd> unwritten;
    std::vector<PlannedWrite> writes;
    // How the update ends when its writes go through: done, or only its first stage done.
    VXUpgradeState endState = VX_UPGRADE_STATE_DONE;
};

class IFirmwareUpdater {
public:
    // `data` is the caller's image, borrowed for the call: nothing keeps it afterwards.
    virtual void updateFirmware(vx_device_t* device, ByteView data, UpgradeCallback callback) = 0;
    // The checks the update makes before its first write, against what `facts` tell of the
    // camera: throws what the update would throw, else says how it would go on.
    virtual CheckResult check(DeviceFacts& facts, ByteView data) = 0;
    virtual ~IFirmwareUpdater() = default;
};

}  // namespace libvxsensor
