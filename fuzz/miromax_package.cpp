// MiroMax packages: a package that passes is handed out whole, chunk by chunk, from its own bytes.
#include "FuzzHarness.h"
#include "firmware/MiroMaxFirmwareParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(data, size);
    const uint32_t chunk = 1 + input.u8() * 64u;  // the updater's own chunk is 8152
    const std::vector<uint8_t> package = input.rest();
    vxfuzz::parses([&] {
        libvxsensor::MiroMaxFirmwareParser parser(package);
        VXFUZZ_CHECK(parser.getFileHeader().productName.size() <= 15);
        VXFUZZ_CHECK(parser.getTotalSize() == package.size());
        uint64_t handed = 0;
        while (const uint8_t* piece = parser.getData(chunk)) {
            VXFUZZ_CHECK(piece == package.data() + handed);
            handed = parser.getOffset();
        }
        VXFUZZ_CHECK(handed == package.size());
    });
    return 0;
}
