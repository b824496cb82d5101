// L840 containers: every component the parser keeps lies inside the file and matches its checksum.
#include "FuzzHarness.h"
#include "firmware/L840FirmwareParser.h"

using libvxsensor::L840FirmwareParser;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::parses([&] {
        const L840FirmwareParser parser(data, static_cast<uint32_t>(size));
        const auto& components = parser.getFirmwareDataList();
        VXFUZZ_CHECK(components.size() == parser.getFileHeader().componentCount());
        VXFUZZ_CHECK(parser.getFileHeader().serial().size() <=
                     libvxsensor::l840container::kTextSize);
        uint64_t used = parser.getFileHeader().headerSize();
        for (const auto& c : components) {
            used += c.headerSize() + c.data.size();
            VXFUZZ_CHECK(c.data.size() == c.dataLength() && c.name().size() <= 64);
            VXFUZZ_CHECK(vxfuzz::parses([&] { L840FirmwareParser::checkFirmwareData(c); }));
            VXFUZZ_CHECK(L840FirmwareParser::isFirmwareDataAdaptable(c, c.pid(0)));
        }
        VXFUZZ_CHECK(used <= size);
    });
    return 0;
}
