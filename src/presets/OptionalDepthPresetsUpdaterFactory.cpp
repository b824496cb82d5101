// The selection order of the preset updaters. Firmware version and bootloader mode are the
// updaters' business, not the factory's.
#include <memory>
#include <string>

#include "DevicePidAndMap.h"
#include "common/DeviceInfo.h"
#include "common/VxExceptionExt.h"
#include "presets/IOptionalDepthPresetsUpdater.h"
#include "presets/L840OptionalDepthPresetsUpdater.h"
#include "presets/L945SeOptionalDepthPresetsUpdater.h"

namespace libvxsensor {

std::shared_ptr<IOptionalDepthPresetsUpdater> OptionalDepthPresetsUpdaterFactory::create(
    vx_device_t* device) {
    const auto [vid, pid] = readDeviceIds(device);
    if (isDeviceInContainer(L840AndKovraADevPids, vid, pid) ||
        (vid == kVendorId && isPidValid(pid, L815DevPids))) {
        return std::make_shared<L840OptionalDepthPresetsUpdater>();
    }
    if (isDeviceInContainer(L945SeDevPids, vid, pid)) {
        return std::make_shared<L945SeOptionalDepthPresetsUpdater>();
    }
    throw unsupported_device_exception_ext(
        "Failed to create OptionalDepthPresetsUpdater! Unsupported device, pid: " +
        std::to_string(pid));
}

}  // namespace libvxsensor
