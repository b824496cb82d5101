// Customer-data reads into a caller's buffer, every answer from the input: nothing is written
// past the buffer and the size returned fits it. Capacity 0 means the caller made room for the
// camera's whole area.
#include <cstring>

#include "FuzzHarness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(bytes, size);
    vxfuzz::FuzzCamera cam(input, {"l840", "openni", "l5pro"});
    const uint32_t area = cam.model().customerDataCapacity;
    std::vector<uint8_t> content(area);
    for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<uint8_t>(i * 3 + 7);
    cam.camera().setRawData(vxsim::kCustomerDataId, content);

    // One run in four leaves the size to the library, the case a lying camera can abuse; but not
    // on L5Pro cameras, whose area has no documented size, so a caller must name a capacity.
    const uint16_t choice = input.le16();
    const bool documented = cam.model().family != vxsim::Family::L5Pro;
    const uint32_t capacity = (choice & 3) == 0 && documented ? 0 : 1 + choice % (2 * area);
    // Exactly as large as promised, so ASan sees a write past it.
    std::vector<uint8_t> buffer(capacity != 0 ? capacity : area);
    uint32_t got = capacity;
    try {
        vx_device_read_customer_data_ext(cam.handle(), buffer.data(), &got);
    } catch (const std::exception& e) {
        VXFUZZ_CHECK(std::strlen(e.what()) > 0);
        return 0;
    }
    VXFUZZ_CHECK(got <= buffer.size());
    return 0;
}
