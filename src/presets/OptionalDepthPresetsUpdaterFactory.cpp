// The selection order of the preset updaters. Firmware version and bootloader mode are the
// updaters' business, not the factory's.
#include <memory>
#include <string>

#include "DevicePidAndMap.h"
#include "common/VxExceptionExt.h"
#include "presets/IOptionalDepthPresetsUpdater.h"
#include "presets/L840OptionalDepthPresetsUpdater.h"
#include "presets/L945SeOptionalDepthPresetsUpdater.h"

namespace libvxsensor {

std::shared_ptr<IOptionalDepthPresetsUpdater> OptionalDepthPresetsUpdaterFactory::create(
    vx_device_t* device) {
    LiveDevice facts(device);
    return create(facts);
}

std::shared_ptr<IOptionalDepthPresetsUpdater> OptionalDepthPresetsUpdaterFactory::create(
    DeviceFacts& facts) {
    const DeviceIds ids = facts.ids();
    switch (presetFamilyOf(ids)) {
        case PresetFamily::L840:
            return std::make_shared<L840OptionalDepthPresetsUpdater>();
        case PresetFamily::L945Se:
            return std::make_shared<L945SeOptionalDepthPresetsUpdater>();
        case PresetFamily::None:
            break;
    }
    throw unsupported_device_exception_ext(
        "Failed to create OptionalDepthPresetsUpdater! Unsupported device, pid: " +
        std::to_string(ids.pid));
}

Verdict judgePresets(DeviceFacts& facts, const std::vector<std::vector<uint8_t>>& presets) {
    return judge(PresetCountState::Own, [&] {
        return OptionalDepthPresetsUpdaterFactory::create(facts)->check(facts, presets);
    });
}

}  // namespace libvxsensor
