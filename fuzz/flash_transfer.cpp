// Flash write (each verify mode) and read of one range, every answer from the input: progress
// stays within 0..100 and stops after a failure, reads hand out only what was asked for.
#include "FuzzHarness.h"
#include "vendorcommand/VendorCommand.h"

namespace vc = libvxsensor::VendorCommand;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(bytes, size);
    // 480-, 232- and 560-byte packets, and the 512-byte cap of the L845Se group.
    vxfuzz::FuzzCamera cam(input, {"l840", "l840,conn=GMSL2", "miromax", "l845se"});
    const uint8_t flags = input.u8();
    const uint32_t length = 1u + input.le16() % 2048u;  // a few dozen exchanges at most
    const uint32_t offset = 0x100000u + input.le16();
    std::vector<uint8_t> image(length);
    for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 13 + flags);

    const uint32_t packet = vc::packetSizeForConnection(cam.handle());
    bool stopped = false;
    const vc::SetDataCallback progress = [&](VXDataTranState state, uint8_t percent) {
        VXFUZZ_CHECK(!stopped && percent <= 100);
        stopped = state == VX_DATA_TRAN_STATE_FAILED || state == VX_DATA_TRAN_STATE_DONE;
    };
    vxfuzz::parses([&] {
        vc::writeFlash(cam.handle(), offset, image.data(), length, flags & 4 ? progress : nullptr,
                       false, static_cast<vc::WriteFlashVerifyMode>(flags % 3), packet);
    });

    vxfuzz::ReadLog read;
    const vc::GetDataCallback collect = [&](VXDataTranState state, VXDataChunk* chunk) {
        read.take(state, chunk, packet);
    };
    vxfuzz::parses([&] {
        vc::readFlash(cam.handle(), offset, length, flags & 8 ? collect : nullptr, false, packet);
    });
    return 0;
}
