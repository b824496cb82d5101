// Request packets on the wire (the length rounding and the deliberate asymmetries), and the
// response parsers' minimum lengths and typed fields.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <vector>

#include "vendorcommand/Protocol.h"

using namespace libvxsensor::protocol;
using Bytes = std::vector<uint8_t>;

namespace {

constexpr uint8_t kFill = 0xAB;  // what the caller's buffer held before the builder ran

struct Built {
    Bytes bytes;  // the first `length` bytes of the buffer
    uint16_t id;
};

// Runs a builder on a pre-filled buffer and returns the first `length` bytes.
Built build(const std::function<uint8_t*(uint8_t*)>& builder, size_t length) {
    std::array<uint8_t, 64> buf{};
    buf.fill(kFill);
    EXPECT_EQ(builder(buf.data()), buf.data());
    const auto id = static_cast<uint16_t>(buf[6] | (buf[7] << 8));
    return {Bytes(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(length)), id};
}

// Header bytes expected for a request, with the id the builder chose.
Bytes header(uint16_t halfWordSize, uint16_t opcode, uint16_t id) {
    Bytes out{'G', 'M'};
    for (const uint16_t v : {halfWordSize, opcode, id})
        out.insert(out.end(), {static_cast<uint8_t>(v), static_cast<uint8_t>(v >> 8)});
    return out;
}

Bytes cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const uint8_t kData[] = {1, 2, 3, 4, 5};

}  // namespace

TEST(ProtocolBuilders, DataCarryingRequestsRoundTheirLengthUp) {
    Built b = build([](uint8_t* p) { return initSetStructureDataReq(p, 6, kData, 5); }, 18);
    // (5 + 1) / 2 + 2 words; the 18th byte is padding the builder does not touch.
    EXPECT_EQ(b.bytes, cat(header(5, 4, b.id), {6, 0, 0, 0, 1, 2, 3, 4, 5, kFill}));

    b = build([](uint8_t* p) { return initWriteFlashReq(p, 0x20000, kData, 5); }, 17);
    EXPECT_EQ(b.bytes, cat(header(5, 14, b.id), {0, 0, 2, 0, 1, 2, 3, 4, 5}));

    b = build([](uint8_t* p) { return initWriteRawDataReq(p, 1052, kData, 128, 3); }, 19);
    EXPECT_EQ(b.bytes, cat(header(6, 21, b.id), {0x1C, 4, 0, 0, 128, 0, 0, 0, 1, 2, 3}));

    b = build([](uint8_t* p) { return initSetStructureDataReqV1_1(p, 6, 0x0102, kData, 3); }, 17);
    EXPECT_EQ(b.bytes, cat(header(5, 28, b.id), {6, 0, 0, 0, 2, 1, 1, 2, 3}));
}

TEST(ProtocolBuilders, DeliberateAsymmetries) {
    // Read counts 16-bit words in 16 bits; erase counts bytes, rounded up to even, in 32 bits.
    Built b = build([](uint8_t* p) { return initReadFlashReq(p, 0x100000, 1023); }, 14);
    EXPECT_EQ(b.bytes[12] | (b.bytes[13] << 8), 512);
    b = build([](uint8_t* p) { return initEraseFlashReq(p, 0, 7); }, 16);
    EXPECT_EQ(b.bytes[12], 8);
    b = build([](uint8_t* p) { return initEraseFlashReq(p, 0, 8); }, 16);
    EXPECT_EQ(b.bytes[12], 8);

    // The MiroMax chunk does not round its length up; the plain raw-data chunk does.
    std::vector<uint8_t> chunk(1023, 0x5A);
    std::vector<uint8_t> buf(1100, kFill);
    initMiroMaxFirmwareReq(buf.data(), 4039, chunk.data(), 0, 1023);
    EXPECT_EQ(buf[2] | (buf[3] << 8), 515);
    EXPECT_EQ(buf[16 + 1022], 0x5A) << "all bytes are copied even though one is not declared";
    initWriteRawDataReq(buf.data(), 4039, chunk.data(), 0, 1023);
    EXPECT_EQ(buf[2] | (buf[3] << 8), 516);

    // Kind 1 of the length query is the finish-read opcode; other kinds leave the opcode alone.
    b = build([](uint8_t* p) { return initGetRawDataLength(p, 1052, 1); }, 12);
    EXPECT_EQ(b.bytes, cat(header(2, 19, b.id), {0x1C, 4, 0, 0}));
    b = build([](uint8_t* p) { return initGetRawDataLength(p, 1052, 2); }, 12);
    EXPECT_EQ(b.bytes[4], kFill);
    EXPECT_EQ(b.bytes[5], kFill);
}

TEST(ProtocolParsers, EachParserRefusesOneByteBelowItsMinimum) {
    std::vector<uint8_t> resp(64, 0);
    struct Case {
        const char* name;
        uint16_t minimum;
        std::function<void(uint16_t)> parse;
    };
    const uint8_t* r = resp.data();
    const Case cases[] = {
        {"get property", 30, [r](uint16_t n) { parseGetPropertyResp(r, n); }},
        {"set property", 10, [r](uint16_t n) { parseSetPropertyResp(r, n); }},
        {"get structure", 11, [r](uint16_t n) { parseGetStructureDataResp(r, n); }},
        {"set structure", 10, [r](uint16_t n) { parseSetStructureDataResp(r, n); }},
        {"heartbeat", 18, [r](uint16_t n) { parseHeartbeatAndStateResp(r, n); }},
        {"raw length", 14, [r](uint16_t n) { parseGetRawDataLengthResp(r, n); }},
        {"read raw", 11, [r](uint16_t n) { parseReadRawDataResp(r, n); }},
        {"read flash", 11, [r](uint16_t n) { parseReadFlashResp(r, n); }},
        {"cmd version", 9, [r](uint16_t n) { parseGetCmdVerDataResp(r, n); }},
        {"get structure v1.1", 13, [r](uint16_t n) { parseGetStructureDataRespV1_1(r, n); }},
        {"set structure v1.1", 10, [r](uint16_t n) { parseSetStructureDataRespV1_1(r, n); }},
        {"start list", 16, [r](uint16_t n) { parseStartStructureDataListResp(r, n); }},
    };
    for (const Case& c : cases) {
        EXPECT_NO_THROW(c.parse(c.minimum)) << c.name;
        EXPECT_THAT([&] { c.parse(static_cast<uint16_t>(c.minimum - 1)); },
                    ::testing::ThrowsMessage<std::runtime_error>(
                        ::testing::StrEq("Device response with wrong data size")))
            << c.name;
    }
}

TEST(ProtocolParsers, TypedFieldsAreLittleEndian) {
    std::vector<uint8_t> resp(30, 0);
    resp[10] = 0xFE;
    resp[11] = 0xFF;
    resp[12] = 0xFF;
    resp[13] = 0xFF;
    EXPECT_EQ(parseGetPropertyResp(resp.data(), 30).currentValue(), -2);
    resp[10] = 0x10;
    resp[11] = 0x27;
    resp[12] = 0;
    resp[13] = 0;
    EXPECT_EQ(parseGetRawDataLengthResp(resp.data(), 14).totalLength(), 10000u);
    EXPECT_EQ(parseGetStructureDataRespV1_1(resp.data(), 13).cmdVersion(), 10000);
}

TEST(ProtocolParsers, StructureDataSizes) {
    std::vector<uint8_t> resp(16, 0);
    resp[2] = 1;  // halfWordSize 1: the status word alone
    EXPECT_EQ(getStructureDataSize(parseGetStructureDataResp(resp.data(), 11)), 0);
    EXPECT_EQ(getStructureDataSizeV1_1(parseGetStructureDataRespV1_1(resp.data(), 13)), -2);
    resp[2] = 131;  // 260 bytes of structure after the status word
    EXPECT_EQ(getStructureDataSize(parseGetStructureDataResp(resp.data(), 11)), 260);
    EXPECT_EQ(getStructureDataSizeV1_1(parseGetStructureDataRespV1_1(resp.data(), 13)), 258);
    resp[2] = 0;  // a device that declares nothing: the size wraps, callers must check
    EXPECT_EQ(getStructureDataSize(parseGetStructureDataResp(resp.data(), 11)), 0xFFFE);
}
