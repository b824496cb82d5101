// One preset updater per camera family behind one interface. Each element of `presets` is the
// whole content of one preset file.
#pragma once

#include <memory>
#include <vector>

#include "ExceptionTranslation.h"
#include "firmware/DeviceFacts.h"
#include "firmware/IFirmwareUpdater.h"

namespace libvxsensor {

class IOptionalDepthPresetsUpdater {
public:
    virtual void updateOptionalDepthPresets(vx_device_t* device,
                                            const std::vector<std::vector<uint8_t>>& presets,
                                            UpgradeCallback callback) = 0;
    // The checks the update makes before its first write, against what `facts` tell of the
    // camera: throws what the update would throw, else says how it would go on.
    virtual CheckResult check(DeviceFacts& facts,
                              const std::vector<std::vector<uint8_t>>& presets) = 0;

protected:
    // Owned only through shared pointers of the concrete class.
    ~IOptionalDepthPresetsUpdater() = default;
};

class OptionalDepthPresetsUpdaterFactory {
public:
    // Never empty: an unknown device throws unsupported_device_exception_ext.
    static std::shared_ptr<IOptionalDepthPresetsUpdater> create(vx_device_t* device);
    static std::shared_ptr<IOptionalDepthPresetsUpdater> create(DeviceFacts& facts);
};

// What a preset upload of `presets` would come to on the camera that `facts` tell of.
Verdict judgePresets(DeviceFacts& facts, const std::vector<std::vector<uint8_t>>& presets);

}  // namespace libvxsensor
