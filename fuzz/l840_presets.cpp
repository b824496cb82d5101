// L840 preset files: the records kept for a device fit it, lie inside the file and match their
// checksums.
#include "FuzzHarness.h"
#include "presets/L840OptionalDepthPresetsParser.h"

using libvxsensor::L840OptionalDepthPresetsParser;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vxfuzz::LeakCheck leaks;
    for (const uint16_t pid : {uint16_t{0x0800}, uint16_t{0x0810}}) {
        vxfuzz::parses([&] {
            const L840OptionalDepthPresetsParser parser(data, static_cast<uint32_t>(size), pid);
            VXFUZZ_CHECK(parser.getFileHeader().productName().size() <= 16);
            VXFUZZ_CHECK(parser.getDataList().size() <= parser.getFileHeader().presetCount());
            for (const auto& record : parser.getDataList()) {
                VXFUZZ_CHECK(record.data.size() == record.dataLength() &&
                             record.data.size() <= size);
                VXFUZZ_CHECK(L840OptionalDepthPresetsParser::isPresetDataAdaptable(record, pid));
                VXFUZZ_CHECK(vxfuzz::parses(
                    [&] { L840OptionalDepthPresetsParser::checkPresetData(record); }));
            }
        });
    }
    return 0;
}
