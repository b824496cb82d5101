// Response parsers: minimum lengths and the typed fields they expose.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include "vendorcommand/Protocol.h"

using namespace libvxsensor::protocol;

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
        try {
            c.parse(static_cast<uint16_t>(c.minimum - 1));
            ADD_FAILURE() << c.name << " accepted a short response";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), "Device response with wrong data size") << c.name;
        }
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
