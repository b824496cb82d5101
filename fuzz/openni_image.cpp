// OpenNI images: only the three known sizes pass, and each ends at the same flash address.
#include "FuzzHarness.h"
#include "firmware/OpenNIFirmwareParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vxfuzz::LeakCheck leaks;
    const bool known = size == 0x20000 || size == 0x30000 || size == 0x40000;
    const bool parsed = vxfuzz::parses([&] {
        const libvxsensor::OpenNIFirmwareParser parser(data, static_cast<uint32_t>(size));
        VXFUZZ_CHECK(parser.getFirmwareData().size() == size);
        VXFUZZ_CHECK(parser.getWriteAddress() + size == 0x40000);
    });
    VXFUZZ_CHECK(parsed == known);
    return 0;
}
