// L5-family images: any file is refused or described consistently.
#include <cstring>

#include "FuzzHarness.h"
#include "common/ByteOrder.h"
#include "firmware/L5FirmwareParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    vxfuzz::LeakCheck leaks;
    const auto n = static_cast<uint32_t>(size);
    vxfuzz::parses([&] {
        const libvxsensor::L5FirmwareParser parser(data, n);
        const std::vector<uint8_t>& image = parser.getFirmwareData();
        VXFUZZ_CHECK(image.size() == size && std::memcmp(image.data(), data, size) == 0);
        VXFUZZ_CHECK(parser.isFirmwareAdaptable(
            libvxsensor::readLe16(parser.getFileInfo() + libvxsensor::kL5OffPid)));
        if (vxfuzz::parses([&] { (void)parser.getWriteAddress(); })) {
            VXFUZZ_CHECK(parser.getWriteAddress() <= 0x20000);
        }
    });
    return 0;
}
