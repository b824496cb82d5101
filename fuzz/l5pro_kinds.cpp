// L5Pro image kinds: at most one kind claims an image, and main firmware is judged by the L840
// container rules for the L5Pro product id, as the updater judges it.
#include "FuzzHarness.h"
#include "firmware/L5ProFirmwareUpdater.h"
#include "firmware/L840FirmwareParser.h"

using libvxsensor::L5ProFirmwareUpdater;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vxfuzz::LeakCheck leaks;
    const std::vector<uint8_t> image(data, data + size);
    const int kinds = int{L5ProFirmwareUpdater::isCompositeFirmwareFirmware(image)} +
                      int{L5ProFirmwareUpdater::isComputingPowerBoardFirmware(image)} +
                      int{L5ProFirmwareUpdater::isPresetFirmware(image)};
    VXFUZZ_CHECK(kinds <= 1);
    if (kinds == 0) {
        vxfuzz::parses([&] {
            const libvxsensor::L840FirmwareParser parser(image.data(), static_cast<uint32_t>(size));
            for (const auto& c : parser.getFirmwareDataList())
                (void)libvxsensor::L840FirmwareParser::isFirmwareDataAdaptable(c, 0x0671);
        });
    }
    return 0;
}
