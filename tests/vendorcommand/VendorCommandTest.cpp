// Vendor commands where the exported functions do not reach them: packet sizing, structure data
// against scripted answers, and the transfers with packet sizes, verify modes and missing
// callbacks that no entry point passes (FlashEntryPointsTest and the customer-data tests cover
// the rest).
#include "vendorcommand/VendorCommand.h"

#include <stdexcept>

#include "DevicePidAndMap.h"
#include "support/Catalog.h"
#include "support/Progress.h"

using namespace libvxsensor;
using ::testing::ElementsAre;
using vxsim::Reply;
namespace vc = libvxsensor::VendorCommand;
namespace wire = vxsim::wire;

namespace {

// An answer for every request: ok with `data`.
vxsim::FunctionResponder::Handler answerWith(std::vector<uint8_t> data) {
    return [data](const std::vector<uint8_t>& bytes, uint32_t) {
        return wire::okReply(*wire::parseRequest(bytes), data);
    };
}

vxsim::FunctionResponder::Handler refuseWith(uint16_t status, std::string text) {
    return [status, text](const std::vector<uint8_t>& bytes, uint32_t) {
        return wire::statusReply(*wire::parseRequest(bytes), status, text);
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
        EXPECT_EQ(vc::packetSizeForConnection(camera.handle()), size) << connection;
    }
}

TEST_F(PacketSizeTest, HostFailuresFallBackToTheDefaultWithOneLogLine) {
    host().failCall(vxsim::HostCall::GetDeviceInfo, {0, 1, "bus reset"});
    host().setCallJournal(true);
    EXPECT_EQ(vc::packetSizeForConnection(camera.handle()), 768u);
    // The error is logged while it lives, and released after.
    EXPECT_THAT(host().callJournal(),
                ElementsAre("vx_device_get_device_info", "vx_error_get_message",
                            "vx_log_external_message", "vx_delete_error"));
    ASSERT_EQ(host().logLines().size(), 1u);
    EXPECT_EQ(host().logLines()[0].message,
              "packetSizeForConnection: vx_device_get_device_info failed (msg: bus reset), "
              "falling back to DEFAULT_PACKET_SIZE (768)");
    EXPECT_EQ(host().logLines()[0].severity, VX_LOG_SEVERITY_WARN);

    host().clearLog();
    host().failCall(vxsim::HostCall::InfoGetConnectionType, {0, 1, "no link"});
    EXPECT_EQ(vc::packetSizeForConnection(camera.handle()), 768u);
    ASSERT_EQ(host().logLines().size(), 1u);
    EXPECT_EQ(host().logLines()[0].message,
              "packetSizeForConnection: vx_device_info_get_connection_type failed (msg: no link), "
              "falling back to DEFAULT_PACKET_SIZE (768)");
    // SimTest's teardown proves the information object was released on this path too.
}

TEST_F(PacketSizeTest, ClampTouchesOnlyL845SeDevicesAboveTheThreshold) {
    EXPECT_EQ(vc::resolvePacketSize(camera.handle(), 513), 513u);
    const uint8_t l845se[] = {0x6E, 0x3A, 0x20, 0x08};
    ASSERT_EQ(setDeviceInfoData(2, l845se, sizeof l845se), SetDeviceInfoResult::Ok);
    host().reset();
    EXPECT_EQ(vc::resolvePacketSize(camera.handle(), 512), 512u);
    EXPECT_EQ(vc::resolvePacketSize(camera.handle(), 0), 0u);
    EXPECT_EQ(host().callCount(vxsim::HostCall::GetDeviceInfo), 0u)
        << "no device query at or below 512";
    EXPECT_EQ(vc::resolvePacketSize(camera.handle(), 513), 512u);
    EXPECT_EQ(vc::resolvePacketSize(camera.handle(), 600), 512u);
    host().failCall(vxsim::HostCall::InfoGetPid, {0, 1, "gone"});
    EXPECT_THROW(vc::resolvePacketSize(camera.handle(), 600), std::runtime_error);
}

class StructureDataTest : public SimTest {
protected:
    vxsim::Device camera{{0x3A6E, 0x0800, "USB3.0", "1.7.16", {}}};
};

TEST_F(StructureDataTest, Limits) {
    std::vector<uint8_t> out(16, 0xEE);
    uint32_t size = 16;
    const auto get = [&](uint32_t expected) {
        return [&, expected] {
            vc::getStructureData(camera.handle(), 1006, out.data(), size, expected);
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
TEST_F(StructureDataTest, AnAnswerWithALyingLengthIsRefused) {
    script(camera, [](const std::vector<uint8_t>& bytes, uint32_t capacity) {
        const auto request = wire::parseRequest(bytes);
        return reply(wire::makeResponse(request->opcode, request->requestId, 0,
                                        std::vector<uint8_t>(1100, 7)),
                     capacity + 1488);
    });
    std::vector<uint8_t> out(4095);
    uint32_t size = 4095;
    EXPECT_THROW(vc::getStructureData(camera.handle(), 100, out.data(), size, 0),
                 std::runtime_error);
    EXPECT_EQ(size, 4095u);
}

// Found by fuzzing: a refused answer's text, or a stale answer left behind by a failed retry,
// was once handed out as the structure (the install-status polls read it as a status).
TEST_F(StructureDataTest, OnlyAGoodAnswerIsTakenAsAStructure) {
    // Carries another request's id, so it is retried; the retry then fails in the host.
    const auto stale = [](const std::vector<uint8_t>& bytes, uint32_t) {
        auto request = *wire::parseRequest(bytes);
        request.requestId = static_cast<uint16_t>(request.requestId + 1);
        return wire::okReply(request, std::vector<uint8_t>(8, 5));
    };
    // Declares no structure (halfWordSize 1) but is long enough for the parser.
    const auto empty = [](const std::vector<uint8_t>& bytes, uint32_t) {
        const auto request = wire::parseRequest(bytes);
        auto answer = wire::makeResponse(request->opcode, request->requestId, 0);
        answer.resize(12, 0);
        return reply(answer);
    };
    const std::pair<vxsim::FunctionResponder::Handler, const char*> cases[] = {
        {refuseWith(4, "unknown structure 1006"),
         "Request failed, device response with error, errorCode: 4, msg: unknown structure 1006"},
        {refuseWith(0x8001, "still booting"),
         "getStructureData: device answered with a warning, no data"},
        {stale, "Request failed, statusCode: 2, msg: Send and receive data transfer failed!"},
        {empty, "Request failed, statusCode: 12, msg: get structure data return data size invalid"},
    };
    for (const auto& [handler, message] : cases) {
        script(camera, handler);
        host().failCall(vxsim::HostCall::SendAndReceive, {1, 1, "bus reset"});
        std::vector<uint8_t> out(64, 0xEE);
        uint32_t size = 64;
        EXPECT_THAT([&] { vc::getStructureData(camera.handle(), 1006, out.data(), size, 0); },
                    failsWith(message));
        EXPECT_EQ(size, 64u);
        EXPECT_EQ(out[0], 0xEE) << message;
    }
}

// The flash layer on an L840 camera whose flash holds `image` at 0x1000.
class TransferTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        cam->camera().writeFlashDirect(0x1000, image);
    }
    std::unique_ptr<vxsim::EmulatedCamera> cam = vxsim::makeCamera("l840");
    vx_device_t* device = cam->handle();
    const std::vector<uint8_t> image = bytes(2048, 7);
};

// A write request carries 12 bytes besides its data, a read answer 10: 1012 and 1014 fill a
// 1024-byte buffer. Beyond those, or at 0, nothing is sent; an empty read returns before.
TEST_F(TransferTest, PacketSizesThatCannotFitABufferAreRefusedBeforeAnyTraffic) {
    const uint8_t* data = image.data();
    EXPECT_THROW(vc::writeFlash(device, 0, data, 10, {}, false, vc::VERIFY_NONE, 0),
                 std::invalid_argument);
    EXPECT_THROW(vc::writeFlash(device, 0, data, 10, {}, false, vc::VERIFY_NONE, 1013),
                 std::invalid_argument);
    EXPECT_THROW(vc::readFlash(device, 0, 10, {}, false, 1015), std::invalid_argument);
    vc::readFlash(device, 0, 0, {}, false, 0);
    vc::readFlash(device, 0, 0, {}, false, 5000);
    EXPECT_TRUE(cam->device().exchanges().empty());

    GetProgress got;
    vc::readFlash(device, 0x1000, 2048, got.callback(), false, 1014);
    EXPECT_EQ(got.sizes, (std::vector<uint32_t>{1014, 1014, 20}));
    EXPECT_EQ(got.data, image);
    SetProgress wrote;
    vc::writeFlash(device, 0x4000, data, 2048, wrote.callback(), false, vc::VERIFY_READ_BACK, 1012);
    EXPECT_THAT(writeSizes(*cam), ElementsAre(1012, 1012, 24));
    EXPECT_EQ(wrote.reports.back(), (Report{2, 100}));
}

// Without read-back the write ends at the finish, which carries the image's CRC in mode 1: the
// camera checks it against what it received. 960 bytes need no short write.
TEST_F(TransferTest, VerifyModesWithoutReadBack) {
    for (const auto mode : {vc::VERIFY_NONE, vc::VERIFY_CRC32}) {
        cam->device().clearExchanges();
        cam->camera().resetCounters();
        SetProgress progress;
        vc::writeFlash(device, 0x8000, image.data() + mode, 960, progress.callback(), false, mode,
                       480);
        EXPECT_EQ(progress.reports, (Reports{{0, 50}, {0, 100}, {2, 100}})) << mode;
        EXPECT_EQ(opcodes(*cam), (std::vector<int>{13, 14, 14, 15}));
        EXPECT_EQ(requests(*cam, wire::FinishWriteFlash).at(0).payload.size(), mode == 1 ? 4u : 0u);
        EXPECT_EQ(cam->camera().counters().crcChecks, mode == 1 ? 1u : 0u);
        EXPECT_EQ(cam->camera().counters().crcMismatches, 0u);
        EXPECT_TRUE(inFlash(*cam, 0x8000, {image.begin() + mode, image.begin() + mode + 960}));
    }
}

// No entry point leaves the callback empty; the layer itself then carries on past a failure,
// except a read, whose only channel for a failure is the callback.
TEST_F(TransferTest, WithoutACallback) {
    cam->faults().add(vxsim::FaultRule::onOpcode(wire::EraseFlash, vxsim::Fault::deviceError(9)));
    vc::writeFlash(device, 0, image.data(), 1000, {}, false, vc::VERIFY_READ_BACK, 480);
    EXPECT_EQ(opcodes(*cam), (std::vector<int>{13, 14, 14, 14, 15, 25, 25, 25}));

    cam->faults().add(
        vxsim::FaultRule::onOpcode(wire::ReadFlash, 4, vxsim::Fault::transportError()));
    EXPECT_THROW(vc::readFlash(device, 0, 1000, {}, false, 480), std::bad_function_call);

    cam->faults().add(vxsim::FaultRule::onOpcode(wire::WriteData, 1, vxsim::Fault::deviceError(2)));
    cam->device().clearExchanges();
    vc::setRawData(device, vxsim::kCustomerDataId, image.data(), 1000, {}, 480);
    EXPECT_EQ(opcodes(*cam), (std::vector<int>{20, 21, 21, 21, 22}));
}
