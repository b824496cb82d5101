// Hands the one preset file, unchanged, to the firmware updater that serves the device; what
// that updater reports or throws is the outcome.
#include "presets/L945SeOptionalDepthPresetsUpdater.h"

#include "common/VxExceptionExt.h"
#include "firmware/FirmwareUpdaterFactory.h"

namespace libvxsensor {

namespace {

void checkCount(const std::vector<std::vector<uint8_t>>& presets) {
    if (presets.size() != 1) {
        throw invalid_preset_count_ext("The number of preset file must be 1!");
    }
}

}  // namespace

CheckResult L945SeOptionalDepthPresetsUpdater::check(
    DeviceFacts& facts, const std::vector<std::vector<uint8_t>>& presets) {
    checkCount(presets);
    return FirmwareUpdaterFactory::create(facts)->check(facts, presets.front());
}

void L945SeOptionalDepthPresetsUpdater::updateOptionalDepthPresets(
    vx_device_t* device, const std::vector<std::vector<uint8_t>>& presets,
    UpgradeCallback callback) {
    checkCount(presets);
    const auto updater = FirmwareUpdaterFactory::create(device);
    updater->updateFirmware(
        device, presets.front(),
        [&callback](VXUpgradeState state, const char* message, uint8_t percent) {
            if (callback) callback(state, message, percent);
        });
}

}  // namespace libvxsensor
