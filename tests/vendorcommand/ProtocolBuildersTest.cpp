// Request packets on the wire: header, payload and the deliberate asymmetries, byte for byte.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
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
    return {'G',
            'M',
            static_cast<uint8_t>(halfWordSize),
            static_cast<uint8_t>(halfWordSize >> 8),
            static_cast<uint8_t>(opcode),
            static_cast<uint8_t>(opcode >> 8),
            static_cast<uint8_t>(id),
            static_cast<uint8_t>(id >> 8)};
}

Bytes cat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const uint8_t kData[] = {1, 2, 3, 4, 5};

}  // namespace

TEST(ProtocolBuilders, FixedLayoutRequests) {
    struct Case {
        const char* name;
        std::function<uint8_t*(uint8_t*)> builder;
        uint16_t halfWordSize, opcode;
        Bytes payload;
    };
    const Case cases[] = {
        {"get property",
         [](uint8_t* b) { return initGetPropertyReq(b, 0x01020304); },
         2,
         1,
         {4, 3, 2, 1}},
        {"set property",
         [](uint8_t* b) { return initSetPropertyReq(b, 213, 1); },
         4,
         2,
         {213, 0, 0, 0, 1, 0, 0, 0}},
        {"get structure",
         [](uint8_t* b) { return initGetStructureDataReq(b, 1006); },
         2,
         3,
         {0xEE, 0x03, 0, 0}},
        {"heartbeat", [](uint8_t* b) { return initHeartbeatAndStateReq(b); }, 0, 5, {}},
        {"erase",
         [](uint8_t* b) { return initEraseFlashReq(b, 0xA1000, 0x10000); },
         4,
         13,
         {0x00, 0x10, 0x0A, 0, 0x00, 0x00, 0x01, 0}},
        {"finish write", [](uint8_t* b) { return initFinishWriteFlashReq(b); }, 0, 15, {}},
        {"finish write crc",
         [](uint8_t* b) { return initFinishWriteFlashWithCrc32Req(b, 0x0376E6E7); },
         2,
         15,
         {0xE7, 0xE6, 0x76, 0x03}},
        {"raw length",
         [](uint8_t* b) { return initGetRawDataLength(b, 1052, 0); },
         2,
         17,
         {0x1C, 0x04, 0, 0}},
        {"read raw",
         [](uint8_t* b) { return initReadRawData(b, 1052, 480, 40); },
         6,
         18,
         {0x1C, 0x04, 0, 0, 0xE0, 0x01, 0, 0, 40, 0, 0, 0}},
        {"finish read raw",
         [](uint8_t* b) { return initFinishReadRawData(b, 1052); },
         2,
         19,
         {0x1C, 0x04, 0, 0}},
        {"start write raw",
         [](uint8_t* b) { return initStartWriteRawDataReq(b, 4039, 0x01000000); },
         4,
         20,
         {0xC7, 0x0F, 0, 0, 0, 0, 0, 1}},
        {"finish write raw",
         [](uint8_t* b) { return initFinishWriteRawDataReq(b, 4039); },
         2,
         22,
         {0xC7, 0x0F, 0, 0}},
        {"read flash",
         [](uint8_t* b) { return initReadFlashReq(b, 0x100000, 768); },
         3,
         25,
         {0, 0, 0x10, 0, 0x80, 0x01}},
        {"cmd version", [](uint8_t* b) { return initGetCmdVersionReq(b, 7); }, 2, 26, {7, 0, 0, 0}},
        {"get structure v1.1",
         [](uint8_t* b) { return initGetStructureDataReqV1_1(b, 7); },
         2,
         27,
         {7, 0, 0, 0}},
        {"start list",
         [](uint8_t* b) { return initStartGetStructureDataList(b, 9); },
         2,
         29,
         {9, 0, 0, 0}},
        {"get list",
         [](uint8_t* b) { return initGetStructureDataList(b, 9, 16, 32); },
         6,
         30,
         {9, 0, 0, 0, 16, 0, 0, 0, 32, 0, 0, 0}},
        {"finish list",
         [](uint8_t* b) { return initFinishGetStructureDataList(b, 9); },
         2,
         31,
         {9, 0, 0, 0}},
    };
    for (const Case& c : cases) {
        const Built built = build(c.builder, 8 + c.payload.size());
        EXPECT_EQ(built.bytes, cat(header(c.halfWordSize, c.opcode, built.id), c.payload))
            << c.name;
    }
}

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

TEST(ProtocolBuilders, EveryBuilderTakesAFreshId) {
    const Built first = build([](uint8_t* p) { return initHeartbeatAndStateReq(p); }, 8);
    const Built second = build([](uint8_t* p) { return initFinishWriteFlashReq(p); }, 8);
    EXPECT_EQ(static_cast<uint16_t>(first.id + 1), second.id);
}

TEST(ProtocolBuilders, ExpectedResponseSizes) {
    for (int op : {3, 5, 27}) EXPECT_EQ(getExpectedRespSize(static_cast<uint16_t>(op)), 512) << op;
    for (int op : {18, 25, 30})
        EXPECT_EQ(getExpectedRespSize(static_cast<uint16_t>(op)), 1024) << op;
    for (int op : {1, 2, 4, 13, 14, 15, 17, 19, 20, 21, 22, 26, 28, 29, 31, 99})
        EXPECT_EQ(getExpectedRespSize(static_cast<uint16_t>(op)), 64) << op;
}
