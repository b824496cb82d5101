// A whole L5Pro-family update through the exported function: an image of the kind the input
// picks (main firmware that fits the camera, a preset package, a composite package), and every
// answer (the transfer, both status-poll phases) from the input. No percentage above 100 may
// reach the callback, whatever the camera's status structure says.
#include "FuzzHarness.h"
#include "firmware/L840FirmwareParser.h"

using namespace libvxsensor;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(bytes, size);
    vxfuzz::FuzzCamera cam(input, {"l5pro", "l945se"});
    const uint8_t kind = input.u8();
    // One whole 8152-byte packet and an odd remainder.
    std::vector<uint8_t> image(9001, 0x5A);
    if (kind % 3 == 0) {
        image = L840ContainerWriter()
                    .component(L840RecordWriter().name("main").data(image).pids({cam.model().pid}))
                    .write();
    } else {
        const char* magic = kind % 3 == 1 ? "VXPRESET" : "PK\x03\x04";
        std::copy(magic, magic + std::char_traits<char>::length(magic), image.begin());
    }
    vxfuzz::updateFromMemory(cam, image, (kind & 0x80) == 0);
    return 0;
}
