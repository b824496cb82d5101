// Optional depth presets of the L840 series, KovraA and L815 models: one to three files, each
// record written into flash at its own address between a clear and a finish command.
#pragma once

#include <memory>

#include "presets/IOptionalDepthPresetsUpdater.h"
#include "presets/L840OptionalDepthPresetsParser.h"

namespace libvxsensor {

class L840OptionalDepthPresetsUpdater : public IOptionalDepthPresetsUpdater {
public:
    virtual ~L840OptionalDepthPresetsUpdater() = default;
    void updateOptionalDepthPresets(vx_device_t* device,
                                    const std::vector<std::vector<uint8_t>>& presets,
                                    UpgradeCallback callback) override;
    CheckResult check(DeviceFacts& facts,
                      const std::vector<std::vector<uint8_t>>& presets) override;

    // One parser per accepted file, in file order; a file that repeats a record already seen
    // (by checksum, across and within files) is dropped whole.
    std::vector<std::shared_ptr<L840OptionalDepthPresetsParser>> checkAndGetPresetParserList(
        const std::vector<std::vector<uint8_t>>& presets, uint16_t pid);

private:
    // What the checks learnt, for the writes.
    struct Plan {
        DeviceIds ids;
        uint32_t packetSize = 0;
        std::vector<std::shared_ptr<L840OptionalDepthPresetsParser>> parsers;
    };
    Plan prepare(DeviceFacts& facts, const std::vector<std::vector<uint8_t>>& presets);
};

}  // namespace libvxsensor
