// Packet sizing, property and structure-data commands against scripted device answers.
#include "vendorcommand/VendorCommand.h"

#include <stdexcept>

#include "DevicePidAndMap.h"
#include "support/SimTest.h"

using namespace libvxsensor;
using vxsim::Reply;

namespace {

// An answer for every request: ok with `data`.
vxsim::FunctionResponder::Handler answerWith(std::vector<uint8_t> data) {
    return [data](const std::vector<uint8_t>& bytes, uint32_t) {
        return vxsim::wire::okReply(*vxsim::wire::parseRequest(bytes), data);
    };
}

vxsim::FunctionResponder::Handler refuseWith(uint16_t status, std::string text) {
    return [status, text](const std::vector<uint8_t>& bytes, uint32_t) {
        return vxsim::wire::statusReply(*vxsim::wire::parseRequest(bytes), status, text);
    };
}

}  // namespace

class PacketSizeTest : public SimTest {
protected:
    void TearDown() override {
        resetDeviceGroupTables();
        SimTest::TearDown();
    }
    vxsim::Device camera{{0x3A6E, 0x0820, "USB3.0", "1.7.16", {}}};
};

TEST_F(PacketSizeTest, FollowsTheConnectionTypeExactly) {
    const std::pair<const char*, uint32_t> cases[] = {
        {"GMSL2", 232}, {"Ethernet", 560},  {"USB3.0", 480}, {"USB2.0", 480},
        {"gmsl2", 480}, {"Ethernet ", 480}, {"", 480},
    };
    for (const auto& [connection, size] : cases) {
        camera.identity().connectionType = connection;
        EXPECT_EQ(VendorCommand::packetSizeForConnection(camera.handle()), size) << connection;
    }
}

TEST_F(PacketSizeTest, HostFailuresFallBackToTheDefaultWithOneLogLine) {
    host().failCall(vxsim::HostCall::GetDeviceInfo, {0, 1, "bus reset"});
    host().setCallJournal(true);
    EXPECT_EQ(VendorCommand::packetSizeForConnection(camera.handle()), 768u);
    // The error is logged while it lives, and released after.
    EXPECT_THAT(host().callJournal(),
                ::testing::ElementsAre("vx_device_get_device_info", "vx_error_get_message",
                                       "vx_log_external_message", "vx_delete_error"));
    ASSERT_EQ(host().logLines().size(), 1u);
    EXPECT_EQ(host().logLines()[0].message,
              "packetSizeForConnection: vx_device_get_device_info failed (msg: bus reset), "
              "falling back to DEFAULT_PACKET_SIZE (768)");
    EXPECT_EQ(host().logLines()[0].severity, VX_LOG_SEVERITY_WARN);

    host().clearLog();
    host().failCall(vxsim::HostCall::InfoGetConnectionType, {0, 1, "no link"});
    EXPECT_EQ(VendorCommand::packetSizeForConnection(camera.handle()), 768u);
    ASSERT_EQ(host().logLines().size(), 1u);
    EXPECT_EQ(host().logLines()[0].message,
              "packetSizeForConnection: vx_device_info_get_connection_type failed (msg: no link), "
              "falling back to DEFAULT_PACKET_SIZE (768)");
    // SimTest's teardown proves the information object was released on this path too.
}

TEST_F(PacketSizeTest, ClampTouchesOnlyL845SeDevicesAboveTheThreshold) {
    EXPECT_EQ(VendorCommand::resolvePacketSize(camera.handle(), 513), 513u);
    const uint8_t l845se[] = {0x6E, 0x3A, 0x20, 0x08};
    ASSERT_EQ(setDeviceInfoData(2, l845se, sizeof l845se), SetDeviceInfoResult::Ok);
    host().reset();
    EXPECT_EQ(VendorCommand::resolvePacketSize(camera.handle(), 512), 512u);
    EXPECT_EQ(VendorCommand::resolvePacketSize(camera.handle(), 0), 0u);
    EXPECT_EQ(host().callCount(vxsim::HostCall::GetDeviceInfo), 0u)
        << "no device query at or below 512";
    EXPECT_EQ(VendorCommand::resolvePacketSize(camera.handle(), 513), 512u);
    EXPECT_EQ(VendorCommand::resolvePacketSize(camera.handle(), 600), 512u);
    host().failCall(vxsim::HostCall::InfoGetPid, {0, 1, "gone"});
    EXPECT_THROW(VendorCommand::resolvePacketSize(camera.handle(), 600), std::runtime_error);
}

class PropertyCommandTest : public SimTest {
protected:
    vxsim::Device camera{{0x3A6E, 0x0800, "USB3.0", "1.7.16", {}}};
};

TEST_F(PropertyCommandTest, PresetClearAndFinishAreSetPropertyRequests) {
    script(camera, answerWith({}));
    EXPECT_TRUE(VendorCommand::clearOptionalDepthPresets(camera.handle()));
    EXPECT_TRUE(VendorCommand::FinishUpgradingOptionalDepthPresets(camera.handle()));
    ASSERT_EQ(camera.exchanges().size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        const auto request = vxsim::wire::parseRequest(camera.exchanges()[i].request);
        EXPECT_EQ(camera.exchanges()[i].request.size(), 16u);
        EXPECT_EQ(request->opcode, vxsim::wire::SetProperty);
        EXPECT_EQ(request->u32(0), i == 0 ? 213u : 214u);
        EXPECT_EQ(request->u32(4), 1u);
    }
}

TEST_F(PropertyCommandTest, RefusedPresetClearIsFalseNotAnException) {
    script(camera, refuseWith(0x0007, "area locked"));
    EXPECT_FALSE(VendorCommand::clearOptionalDepthPresets(camera.handle()));
    EXPECT_EQ(host().logLines().back().severity, VX_LOG_SEVERITY_ERROR);
}

TEST_F(PropertyCommandTest, GetPropertyReadsTheValueOrThrowsLeavingItUntouched) {
    std::vector<uint8_t> answer(20, 0);
    answer[0] = 0x2A;
    script(camera, answerWith(answer));
    VXPropertyValue value{};
    VendorCommand::getPropertyValue(camera.handle(), 133, value);
    EXPECT_EQ(value.intValue, 42);

    script(camera, refuseWith(0x0021, "no such property"));
    value.intValue = 7;
    EXPECT_THAT([&] { VendorCommand::getPropertyValue(camera.handle(), 133, value); },
                failsWith("Request failed, device response with error, errorCode: 33, msg: no "
                          "such property"));
    EXPECT_EQ(value.intValue, 7);
}

TEST_F(PropertyCommandTest, StructureDataLimits) {
    std::vector<uint8_t> out(16, 0xEE);
    uint32_t size = 16;
    const auto get = [&](uint32_t expected) {
        return [&, expected] {
            VendorCommand::getStructureData(camera.handle(), 1006, out.data(), size, expected);
        };
    };
    script(camera, answerWith(std::vector<uint8_t>(16, 1)));
    get(0)();
    EXPECT_EQ(size, 16u) << "a payload equal to the capacity fits";

    script(camera, answerWith(std::vector<uint8_t>(8, 2)));
    size = 16;
    get(16)();
    EXPECT_EQ(size, 8u) << "shorter than expected is accepted";
    EXPECT_EQ(out[7], 2);
    EXPECT_EQ(out[8], 1);

    script(camera, answerWith(std::vector<uint8_t>(18, 3)));
    size = 16;
    EXPECT_THAT(get(10), failsWith("getStructureData: buffer too small!"))
        << "checked before expected size";
    script(camera, answerWith(std::vector<uint8_t>(12, 3)));
    EXPECT_THAT(get(10), failsWith("getStructureData: response size is invalid!"));
    EXPECT_EQ(size, 16u) << "untouched on failure";
}

// Found by fuzzing: a refused answer's lying length once let the copy run past the buffer.
TEST_F(PropertyCommandTest, StructureWithALyingLengthIsRefused) {
    script(camera, [](const std::vector<uint8_t>& bytes, uint32_t capacity) {
        const auto request = vxsim::wire::parseRequest(bytes);
        return reply(vxsim::wire::makeResponse(request->opcode, request->requestId, 0,
                                               std::vector<uint8_t>(1100, 7)),
                     capacity + 1488);
    });
    std::vector<uint8_t> out(4095);
    uint32_t size = 4095;
    EXPECT_THROW(VendorCommand::getStructureData(camera.handle(), 100, out.data(), size, 0),
                 std::runtime_error);
    EXPECT_EQ(size, 4095u);
}

// Found by fuzzing: a refused answer's text, or a stale answer left behind by a failed retry,
// was once handed out as the structure (the install-status polls read it as a status).
TEST_F(PropertyCommandTest, OnlyAGoodAnswerIsTakenAsAStructure) {
    std::vector<uint8_t> out(64, 0xEE);
    uint32_t size = 64;
    const auto expectRefused = [&](const char* what) {
        size = 64;
        EXPECT_THAT(
            [&] { VendorCommand::getStructureData(camera.handle(), 1006, out.data(), size, 0); },
            failsWith(what));
        EXPECT_EQ(size, 64u);
        EXPECT_EQ(out[0], 0xEE) << what;
    };

    script(camera, refuseWith(4, "unknown structure 1006"));
    expectRefused(
        "Request failed, device response with error, errorCode: 4, msg: unknown structure 1006");

    script(camera, refuseWith(0x8001, "still booting"));
    expectRefused("getStructureData: device answered with a warning, no data");

    // First answer carries another request's id; the retry then fails in the host.
    script(camera, [](const std::vector<uint8_t>& bytes, uint32_t) {
        auto request = *vxsim::wire::parseRequest(bytes);
        request.requestId = static_cast<uint16_t>(request.requestId + 1);
        return vxsim::wire::okReply(request, std::vector<uint8_t>(8, 5));
    });
    host().failCall(vxsim::HostCall::SendAndReceive, {1, 1, "bus reset"});
    expectRefused("Request failed, statusCode: 2, msg: Send and receive data transfer failed!");
}

TEST_F(PropertyCommandTest, EmptyStructureIsRaisedThroughCheckStatus) {
    // Declares no structure (halfWordSize 1) but is long enough for the parser.
    script(camera, [](const std::vector<uint8_t>& bytes, uint32_t) {
        const auto request = vxsim::wire::parseRequest(bytes);
        auto answer = vxsim::wire::makeResponse(request->opcode, request->requestId, 0);
        answer.resize(12, 0);
        return reply(answer);
    });
    std::vector<uint8_t> out(16);
    uint32_t size = 16;
    EXPECT_THAT(
        [&] { VendorCommand::getStructureData(camera.handle(), 1006, out.data(), size, 0); },
        failsWith("Request failed, statusCode: 12, msg: get structure data return data size "
                  "invalid"));
}
