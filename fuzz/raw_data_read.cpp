// Raw-data reads whose length and chunks come from the input: chunks stay inside the length the
// device announced and carry the bytes they claim.
#include "FuzzHarness.h"
#include "vendorcommand/VendorCommand.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(bytes, size);
    vxfuzz::FuzzCamera cam(input, {"l840"});
    std::vector<uint8_t> content(128);
    for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<uint8_t>(i * 5 + 1);
    cam.camera().setRawData(vxsim::kCustomerDataId, content);
    // Any chunk size the library accepts: 1 to a command buffer less the answer header.
    const uint32_t chunk = 1u + input.le16() % 1014u;
    vxfuzz::ReadLog read;
    vxfuzz::parses([&] {
        libvxsensor::VendorCommand::getRawData(
            cam.handle(), vxsim::kCustomerDataId,
            [&](VXDataTranState state, VXDataChunk* c) { read.take(state, c, chunk); }, chunk);
    });
    return 0;
}
