// A whole L840-family update through the exported function, a valid container and every answer
// from the input: no exception escapes, progress stays within 0..100, the error object is
// well-formed and released.
#include <string>

#include "FuzzHarness.h"
#include "firmware/L840FirmwareParser.h"

using namespace libvxsensor;

namespace {

std::vector<uint8_t> pattern(size_t n, uint8_t seed) {
    std::vector<uint8_t> out(n);
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(seed + i * 7);
    return out;
}

// Boot and main components go through read-back verification, the ISP one through a CRC.
std::vector<uint8_t> container(const std::string& serial) {
    return L840ContainerWriter()
        .serial(serial)
        .component(L840RecordWriter().name("boot").address(0x10000).data(pattern(600, 1)))
        .component(
            L840RecordWriter().name("isp").address(0x500000).version("9.9.9").data(pattern(300, 5)))
        .component(L840RecordWriter().name("main").address(0x100000).data(pattern(1500, 9)))
        .write();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(bytes, size);
    vxfuzz::FuzzCamera cam(input, {"l840", "l840-boot", "kovra-a", "l845se"});
    const bool withCallback = (input.u8() & 1) == 0;
    const std::vector<uint8_t> image =
        container(cam.model().name == "kovra-a" ? "Kovra A" : "Lumex 840");
    vxfuzz::updateFromMemory(cam, image, withCallback);
    return 0;
}
