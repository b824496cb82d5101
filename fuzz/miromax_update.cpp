// A whole MiroMax update through the exported function, a valid package and every answer (the
// recovery-mode property, the transfer, the install status polls) from the input.
#include "FuzzHarness.h"
#include "firmware/MiroMaxFirmwareParser.h"

using namespace libvxsensor;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(bytes, size);
    vxfuzz::FuzzCamera cam(input, {"miromax", "ra-dk700v"});
    // Two chunks: one whole 8152-byte packet and an odd remainder.
    const std::vector<uint8_t> package = MiroMaxPackageWriter()
                                             .productName(cam.model().productName)
                                             .payload(std::vector<uint8_t>(9001, 0xA5))
                                             .write();
    vxfuzz::updateFromMemory(cam, package, true);
    return 0;
}
