// L945Se models take an optional depth preset as an image on the firmware-update path.
#pragma once

#include "presets/IOptionalDepthPresetsUpdater.h"

namespace libvxsensor {

class L945SeOptionalDepthPresetsUpdater : public IOptionalDepthPresetsUpdater {
public:
    virtual ~L945SeOptionalDepthPresetsUpdater() = default;
    void updateOptionalDepthPresets(vx_device_t* device,
                                    const std::vector<std::vector<uint8_t>>& presets,
                                    UpgradeCallback callback) override;
    CheckResult check(DeviceFacts& facts,
                      const std::vector<std::vector<uint8_t>>& presets) override;
};

}  // namespace libvxsensor
