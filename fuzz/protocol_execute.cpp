// One vendor exchange at a time, answered by the input: execute and validateResp accept only
// answers that fit the buffer, and the response parsers stay inside what was received.
#include "FuzzHarness.h"
#include "vendorcommand/Protocol.h"
#include "vendorcommand/VendorCommand.h"

namespace p = libvxsensor::protocol;

namespace {

volatile uint8_t g_sink;
// Reads every byte, so ASan sees an answer that claims more than the buffer holds.
void touch(const uint8_t* bytes, size_t n) {
    uint8_t sum = 0;
    for (size_t i = 0; i < n; ++i) sum = static_cast<uint8_t>(sum + bytes[i]);
    g_sink = sum;
}

void structureData(const uint8_t* r, uint16_t n) {
    const uint16_t size = p::getStructureDataSize(p::parseGetStructureDataResp(r, n));
    VXFUZZ_CHECK(size + p::kRespHeaderSize <= n);
    touch(r + p::kOffData, size);
}
void structureDataV11(const uint8_t* r, uint16_t n) {
    const auto resp = p::parseGetStructureDataRespV1_1(r, n);
    const int16_t size = p::getStructureDataSizeV1_1(resp);
    if (size > 0) touch(resp.structureData(), static_cast<size_t>(size));
    g_sink = static_cast<uint8_t>(resp.cmdVersion());
}
void flashData(const uint8_t* r, uint16_t n) {
    touch(p::parseReadFlashResp(r, n).data(), n - 10u);
}

struct Kind {
    uint16_t (*build)(uint8_t* buf, uint32_t id, uint16_t arg);  // returns the request length
    void (*read)(const uint8_t* response, uint16_t length);
};

const Kind kKinds[] = {
    {[](uint8_t* b, uint32_t id, uint16_t) {
         p::initGetPropertyReq(b, id);
         return uint16_t{12};
     },
     [](const uint8_t* r, uint16_t n) {
         g_sink = static_cast<uint8_t>(p::parseGetPropertyResp(r, n).currentValue());
     }},
    {[](uint8_t* b, uint32_t id, uint16_t arg) {
         p::initSetPropertyReq(b, id, arg);
         return uint16_t{16};
     },
     [](const uint8_t* r, uint16_t n) {
         g_sink = static_cast<uint8_t>(p::parseSetPropertyResp(r, n).status());
     }},
    {[](uint8_t* b, uint32_t id, uint16_t) {
         p::initGetStructureDataReq(b, id);
         return uint16_t{12};
     },
     structureData},
    {[](uint8_t* b, uint32_t, uint16_t) {
         p::initHeartbeatAndStateReq(b);
         return uint16_t{8};
     },
     [](const uint8_t* r, uint16_t n) { touch(p::parseHeartbeatAndStateResp(r, n).data(), 8); }},
    {[](uint8_t* b, uint32_t id, uint16_t) {
         p::initGetRawDataLength(b, id, 0);
         return uint16_t{12};
     },
     [](const uint8_t* r, uint16_t n) {
         g_sink = static_cast<uint8_t>(p::parseGetRawDataLengthResp(r, n).totalLength());
     }},
    {[](uint8_t* b, uint32_t id, uint16_t arg) {
         p::initReadRawData(b, id, 0, arg);
         return uint16_t{20};
     },
     [](const uint8_t* r, uint16_t n) { touch(p::parseReadRawDataResp(r, n).data(), n - 10u); }},
    {[](uint8_t* b, uint32_t id, uint16_t arg) {
         p::initReadFlashReq(b, id, arg);
         return uint16_t{14};
     },
     flashData},
    {[](uint8_t* b, uint32_t id, uint16_t) {
         p::initGetCmdVersionReq(b, id);
         return uint16_t{12};
     },
     [](const uint8_t* r, uint16_t n) {
         g_sink = static_cast<uint8_t>(p::parseGetCmdVerDataResp(r, n).opcode());
     }},
    {[](uint8_t* b, uint32_t id, uint16_t) {
         p::initGetStructureDataReqV1_1(b, id);
         return uint16_t{12};
     },
     structureDataV11},
    {[](uint8_t* b, uint32_t id, uint16_t) {
         p::initStartGetStructureDataList(b, id);
         return uint16_t{12};
     },
     [](const uint8_t* r, uint16_t n) {
         touch(p::parseStartStructureDataListResp(r, n).data(), 6);
     }},
};
constexpr size_t kKindCount = sizeof kKinds / sizeof kKinds[0];

void exchange(vx_device_t* device, const Kind& kind, uint32_t id, uint16_t arg) {
    std::vector<uint8_t> request(1024);
    const uint16_t length = kind.build(request.data(), id, arg);
    const auto opcode = static_cast<uint16_t>(request[4] | request[5] << 8);
    const auto requestId = static_cast<uint16_t>(request[6] | request[7] << 8);
    // Exactly the capacity execute asks for: a write or read past it is an ASan report.
    const uint16_t capacity = p::getExpectedRespSize(opcode);
    std::vector<uint8_t> response(capacity);
    uint16_t received = 0;
    const p::HpStatus status =
        p::execute(device, request.data(), length, response.data(), &received);
    (void)p::checkStatus(status, false);
    if (status.statusCode != p::HP_STATUS_OK) return;
    VXFUZZ_CHECK(received >= p::kRespHeaderSize && received <= capacity);
    VXFUZZ_CHECK(p::validateResp(response.data(), received, opcode, requestId).statusCode ==
                 p::HP_STATUS_OK);
    vxfuzz::parses([&] { kind.read(response.data(), received); });
}

// The library's own single-shot commands, which size their copies from the answer. Structure
// data comes only from an answer to its request that the device marked good, and never exceeds
// the caller's buffer nor what the host reported received.
void command(vxfuzz::FuzzCamera& cam, uint32_t id, uint16_t arg) {
    const uint32_t capacity = 1u + arg % 4096u;
    std::vector<uint8_t> buffer(capacity);
    uint32_t size = capacity;
    if (vxfuzz::parses([&] {
            libvxsensor::VendorCommand::getStructureData(cam.handle(), id, buffer.data(), size,
                                                         arg & 1 ? 260 : 0);
        })) {
        const vxsim::Exchange& last = cam.device().exchanges().back();
        const auto n = static_cast<uint16_t>(last.response.size());
        const auto requestId = static_cast<uint16_t>(last.request[6] | last.request[7] << 8);
        const p::HpStatusCode code =
            p::validateResp(last.response.data(), n, p::OPCODE_GET_STRUCTURE_DATA, requestId)
                .statusCode;
        VXFUZZ_CHECK(!last.transportError);
        VXFUZZ_CHECK(size <= capacity && size + p::kRespHeaderSize <= last.reportedLength);
        // A host that reports more bytes than the device wrote (within the capacity) cannot be
        // told from an honest one; only an honest report says what the answer was.
        if (last.reportedLength == n) VXFUZZ_CHECK(code == p::HP_STATUS_OK);
    }
    VXPropertyValue value{};
    vxfuzz::parses([&] { libvxsensor::VendorCommand::getPropertyValue(cam.handle(), id, value); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    vxfuzz::LeakCheck leaks;
    vxfuzz::Input input(bytes, size);
    vxfuzz::FuzzCamera cam(input, {"l840"});
    cam.camera().setProperty(100, 7);
    cam.camera().setStructure(100, std::vector<uint8_t>(40, 0x3C));
    cam.camera().setRawData(vxsim::kCustomerDataId, std::vector<uint8_t>(64, 0x5A));
    struct Step {
        uint8_t kind;
        uint32_t id;
        uint16_t arg;
    };
    std::vector<Step> steps(1 + input.u8() % 4);
    for (Step& s : steps) s = {input.u8(), input.le16(), input.le16()};
    for (const Step& s : steps) {
        if (s.kind % (kKindCount + 1) < kKindCount) {
            exchange(cam.handle(), kKinds[s.kind % (kKindCount + 1)], s.id, s.arg);
        } else {
            command(cam, s.id, s.arg);
        }
    }
    return 0;
}
