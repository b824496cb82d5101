// Tests of the camera emulator: the host behaviour the extension's tests build on (identity,
// object lifetimes, failure switches, exchange routing and recording, the wire format).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "vxsim/Emulator.h"
#include "vxsim/Wire.h"

namespace {

using Bytes = std::vector<uint8_t>;
using vxsim::Failure;
using vxsim::Host;
using vxsim::HostCall;
using vxsim::Reply;

// A scripted device that also answers structured-data ids from a table.
class ScriptedResponder : public vxsim::FunctionResponder {
public:
    using FunctionResponder::FunctionResponder;
    std::map<uint32_t, Bytes> structures;
    bool structuredData(uint32_t propertyId, Bytes& out) override {
        const auto found = structures.find(propertyId);
        if (found == structures.end()) return false;
        out = found->second;
        return true;
    }
};

// Every test starts from a clean host and must hand back each host object it received.
class EmulatorTest : public ::testing::Test {
protected:
    void SetUp() override {
        Host::instance().reset();
        errorsBefore_ = Host::instance().liveErrors();
        infosBefore_ = Host::instance().liveDeviceInfos();
    }
    void TearDown() override {
        Host::instance().reset();
        EXPECT_EQ(Host::instance().liveErrors(), errorsBefore_);
        EXPECT_EQ(Host::instance().liveDeviceInfos(), infosBefore_);
    }

    // Message of the error (released here), or "" when none was set.
    static std::string take(vx_error*& error) {
        std::string message = error != nullptr ? vx_error_get_message(error) : "";
        vx_delete_error(error);
        error = nullptr;
        return message;
    }

    std::shared_ptr<ScriptedResponder> script(ScriptedResponder::Handler handler) {
        auto responder = std::make_shared<ScriptedResponder>(std::move(handler));
        camera.setResponder(responder);
        return responder;
    }

    vxsim::Device camera{{0x3A6E, 0x0840, "USB3.0", "1.7.16", {{"serial", "AB12"}}}};
    int errorsBefore_ = 0;
    int infosBefore_ = 0;
};

TEST_F(EmulatorTest, DeviceInfoIsASnapshotOfTheIdentity) {
    vx_error* error = nullptr;
    vx_device_info* info = vx_device_get_device_info(camera.handle(), &error);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(Host::instance().liveDeviceInfos(), infosBefore_ + 1);
    camera.identity().firmwareVersion = "9.9.9";  // must not reach the info already handed out
    EXPECT_EQ(vx_device_info_get_vid(info, &error), 0x3A6E);
    EXPECT_EQ(vx_device_info_get_pid(info, &error), 0x0840);
    EXPECT_STREQ(vx_device_info_get_connection_type(info, &error), "USB3.0");
    EXPECT_STREQ(vx_device_info_get_firmware_version(info, &error), "1.7.16");
    vx_delete_device_info(info, &error);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(Host::instance().liveDeviceInfos(), infosBefore_);
}

TEST_F(EmulatorTest, ErrorObjectsKeepTheirFieldsAndAreCounted) {
    vx_error* error = vx_create_error(7, "bad crc", "writeFlash", "addr=0x10", 3);
    EXPECT_EQ(Host::instance().liveErrors(), errorsBefore_ + 1);
    EXPECT_EQ(vxsim::errorStatus(error), 7);
    EXPECT_EQ(vxsim::errorExceptionType(error), 3);
    EXPECT_STREQ(vxsim::errorArgs(error), "addr=0x10");
    EXPECT_STREQ(vx_error_get_function(error), "writeFlash");
    EXPECT_EQ(take(error), "bad crc");
    vx_delete_error(nullptr);
    EXPECT_EQ(Host::instance().liveErrors(), errorsBefore_);

    vx_error* blank = vx_create_error(1, nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(take(blank), "");
}

TEST_F(EmulatorTest, FailureSwitchSkipsThenFailsCountTimes) {
    vx_device_info* info = vx_device_get_device_info(camera.handle(), nullptr);
    // 'o' for a call that went through with the right value, 'F' for an error status 1.
    const auto pattern = [&](int calls) {
        std::string seen;
        for (int i = 0; i < calls; ++i) {
            vx_error* error = nullptr;
            const int pid = vx_device_info_get_pid(info, &error);
            if (error == nullptr) seen += pid == 0x0840 ? 'o' : '?';
            else seen += pid == 0 && vxsim::errorStatus(error) == 1 ? 'F' : '?';
            take(error);
        }
        return seen;
    };
    Host::instance().failCall(HostCall::InfoGetPid, Failure{2, 2, "pid gone", false});
    EXPECT_EQ(pattern(6), "ooFFoo");
    EXPECT_EQ(Host::instance().callCount(HostCall::InfoGetPid), 6u);
    Host::instance().failCall(HostCall::InfoGetPid, Failure{1, 0, "pid gone", false});
    EXPECT_EQ(pattern(5), "oFFFF");
    Host::instance().clearFailures();
    EXPECT_EQ(pattern(1), "o");
    vx_delete_device_info(info, nullptr);
    Host::instance().reset();
    EXPECT_EQ(Host::instance().callCount(HostCall::InfoGetPid), 0u);
}

TEST_F(EmulatorTest, FailureCanThrowOrStaySilentWithoutErrorPointer) {
    Host::instance().failCall(HostCall::GetDeviceInfo, Failure{0, 2, "host exploded", true});
    EXPECT_THROW(vx_device_get_device_info(camera.handle(), nullptr), std::runtime_error);
    Host::instance().failCall(HostCall::GetDeviceInfo, Failure{});
    EXPECT_EQ(vx_device_get_device_info(camera.handle(), nullptr), nullptr);
    EXPECT_EQ(Host::instance().liveErrors(), errorsBefore_);
    EXPECT_EQ(Host::instance().liveDeviceInfos(), infosBefore_);
}

// Each host call, failed once, reports under its own name and skips its work; the next goes on.
TEST_F(EmulatorTest, EveryHostCallHonoursItsSwitch) {
    script([](const Bytes&, uint32_t) { return Reply{{1, 2}, {}, false, false, ""}; })
        ->structures[5] = {9};
    vx_device_info* info = vx_device_get_device_info(camera.handle(), nullptr);
    vx_device_t* dev = camera.handle();
    uint8_t buf[4] = {};
    uint32_t size = 0;
    const std::map<HostCall, std::function<bool(vx_error**)>> calls{
        {HostCall::GetDeviceInfo, [&](vx_error** e) {
             vx_device_info* made = vx_device_get_device_info(dev, e);
             vx_delete_device_info(made, nullptr);
             return made != nullptr;
         }},
        {HostCall::InfoGetVid, [&](vx_error** e) { return vx_device_info_get_vid(info, e) != 0; }},
        {HostCall::InfoGetPid, [&](vx_error** e) { return vx_device_info_get_pid(info, e) != 0; }},
        {HostCall::InfoGetConnectionType,
         [&](vx_error** e) { return vx_device_info_get_connection_type(info, e) != nullptr; }},
        {HostCall::InfoGetFirmwareVersion,
         [&](vx_error** e) { return vx_device_info_get_firmware_version(info, e) != nullptr; }},
        {HostCall::DeleteDeviceInfo, [&](vx_error** e) {
             // A failing delete still frees the object; only the error tells it failed.
             const int live = Host::instance().liveDeviceInfos();
             vx_delete_device_info(vx_device_get_device_info(dev, nullptr), e);
             return Host::instance().liveDeviceInfos() == live && *e == nullptr;
         }},
        {HostCall::SendAndReceive, [&](vx_error** e) {
             vx_device_send_and_receive_data(dev, buf, 1, buf, &(size = 4), e);
             return size == 2;
         }},
        {HostCall::GetStructuredData, [&](vx_error** e) {
             vx_device_get_structured_data(dev, 5, buf, &(size = 4), e);
             return size == 1;
         }},
        {HostCall::GetExtensionInfo,
         [&](vx_error** e) { return vx_device_get_extension_info(dev, "serial", e) != nullptr; }},
        {HostCall::LogExternalMessage, [&](vx_error** e) {
             const size_t before = Host::instance().logLines().size();
             vx_log_external_message(VX_LOG_SEVERITY_INFO, "m", "x", "f", "g", 1, e);
             return Host::instance().logLines().size() > before;
         }},
    };
    ASSERT_EQ(calls.size(), static_cast<size_t>(vxsim::kHostCallCount));
    for (const auto& [call, invoke] : calls) {
        SCOPED_TRACE(vxsim::hostCallName(call));
        const std::string message = std::string("no ") + vxsim::hostCallName(call);
        Host::instance().failCall(call, Failure{0, 1, message, false});
        vx_error* error = nullptr;
        EXPECT_FALSE(invoke(&error));
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(vx_error_get_function(error), vxsim::hostCallName(call));
        EXPECT_EQ(take(error), message);
        EXPECT_TRUE(invoke(&error));
        EXPECT_EQ(take(error), "");
        EXPECT_GE(Host::instance().callCount(call), 2u);
    }
    ASSERT_FALSE(camera.exchanges().empty());
    EXPECT_TRUE(camera.exchanges().front().transportError);  // the injected failure is recorded
    vx_delete_device_info(info, nullptr);
}

TEST_F(EmulatorTest, ExchangeIsRoutedAndRecorded) {
    const Bytes request{'G', 'M', 0, 0, 5, 0, 1, 0};
    script([&](const Bytes& got, uint32_t capacity) {
        EXPECT_EQ(got, request);
        EXPECT_EQ(capacity, 16u);
        return Reply{{0xA, 0xB, 0xC}, {}, false, false, ""};
    });
    uint8_t buffer[16] = {};
    uint32_t size = sizeof buffer;
    vx_error* error = nullptr;
    vx_device_send_and_receive_data(camera.handle(), request.data(), 8, buffer, &size, &error);
    EXPECT_EQ(take(error), "");
    EXPECT_EQ(size, 3u);
    EXPECT_EQ(Bytes(buffer, buffer + 3), (Bytes{0xA, 0xB, 0xC}));
    ASSERT_EQ(camera.exchanges().size(), 1u);
    const vxsim::Exchange& seen = camera.exchanges()[0];
    EXPECT_EQ(seen.request, request);
    EXPECT_EQ(seen.response, (Bytes{0xA, 0xB, 0xC}));
    EXPECT_EQ(seen.capacity, 16u);
    EXPECT_EQ(seen.reportedLength, 3u);
}

TEST_F(EmulatorTest, LongReplyIsCutAtTheCapacityAndLengthsMayLie) {
    Reply reply{Bytes(20, 0x11), {}, false, false, ""};
    script([&](const Bytes&, uint32_t) { return reply; });
    uint8_t memory[16];
    std::fill(std::begin(memory), std::end(memory), 0xEE);  // bytes 8..15 guard the buffer
    uint32_t size = 8;
    vx_device_send_and_receive_data(camera.handle(), nullptr, 0, memory, &size, nullptr);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(Bytes(memory, memory + 8), Bytes(8, 0x11));
    EXPECT_EQ(Bytes(memory + 8, memory + 16), Bytes(8, 0xEE));
    EXPECT_EQ(camera.exchanges().back().response.size(), 8u);

    reply.reportedLength = 4096;  // a lying device: the caller must not trust it
    size = 8;
    vx_device_send_and_receive_data(camera.handle(), nullptr, 0, memory, &size, nullptr);
    EXPECT_EQ(size, 4096u);
    EXPECT_EQ(camera.exchanges().back().reportedLength, 4096u);
    EXPECT_EQ(Bytes(memory + 8, memory + 16), Bytes(8, 0xEE));
}

TEST_F(EmulatorTest, TransportFailuresLeaveTheBufferAlone) {
    Reply reply = Reply::transportFailure("link down");
    script([&](const Bytes&, uint32_t) { return reply; });
    uint8_t buffer[4] = {7, 7, 7, 7};
    uint32_t size = sizeof buffer;
    vx_error* error = nullptr;
    vx_device_send_and_receive_data(camera.handle(), buffer, 1, buffer, &size, &error);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(vx_error_get_function(error), "vx_device_send_and_receive_data");
    EXPECT_EQ(take(error), "link down");
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(Bytes(buffer, buffer + 4), Bytes(4, 7));
    EXPECT_TRUE(camera.exchanges().back().transportError);
    EXPECT_EQ(camera.exchanges().back().errorMessage, "link down");

    reply = Reply{{1}, {}, false, true, "usb exception"};
    EXPECT_THROW(vx_device_send_and_receive_data(camera.handle(), buffer, 1, buffer, &size,
                                                 &error),
                 std::runtime_error);
    EXPECT_EQ(camera.exchanges().size(), 2u);
    EXPECT_EQ(buffer[0], 7);

    camera.setResponder(nullptr);
    vx_device_send_and_receive_data(camera.handle(), buffer, 1, buffer, &size, &error);
    EXPECT_NE(take(error), "");
    EXPECT_EQ(camera.exchanges().size(), 3u);
    vx_device_send_and_receive_data(nullptr, buffer, 1, buffer, &size, &error);
    EXPECT_NE(take(error), "");
}

TEST_F(EmulatorTest, StructuredDataIsCopiedUpToTheCapacityOrRefused) {
    vx_error* error = nullptr;
    uint8_t buffer[4] = {};
    uint32_t size = sizeof buffer;
    vx_device_get_structured_data(camera.handle(), 5, buffer, &size, &error);
    EXPECT_NE(take(error), "");  // no responder at all

    script([](const Bytes&, uint32_t) { return Reply{}; })->structures[5] = {1, 2, 3, 4, 5, 6};
    vx_device_get_structured_data(camera.handle(), 5, buffer, &size, &error);
    EXPECT_EQ(take(error), "");
    EXPECT_EQ(size, 4u);
    EXPECT_EQ(Bytes(buffer, buffer + 4), (Bytes{1, 2, 3, 4}));

    vx_device_get_structured_data(camera.handle(), 6, buffer, &size, &error);
    EXPECT_STREQ(vx_error_get_function(error), "vx_device_get_structured_data");
    EXPECT_NE(take(error), "");
}

TEST_F(EmulatorTest, ExtensionInfoTextLivesUntilTheNextCall) {
    vx_error* error = nullptr;
    const char* serial = vx_device_get_extension_info(camera.handle(), "serial", &error);
    ASSERT_NE(serial, nullptr);
    camera.identity().extensionInfo["serial"] = "changed";
    EXPECT_STREQ(serial, "AB12");

    EXPECT_EQ(vx_device_get_extension_info(camera.handle(), "nope", &error), nullptr);
    EXPECT_EQ(take(error), "Extension info not found: nope");
}

TEST_F(EmulatorTest, LogLinesAreKeptAndEchoedFromTheThreshold) {
    std::FILE* echo = std::tmpfile();
    ASSERT_NE(echo, nullptr);
    Host::instance().setLogEcho(echo, VX_LOG_SEVERITY_WARN);
    vx_log_external_message(VX_LOG_SEVERITY_INFO, "SDKExt", "quiet", "a.cpp", "f", 1, nullptr);
    vx_log_external_message(VX_LOG_SEVERITY_WARN, "SDKExt", "loud", "b.cpp", "checkStatus", 42,
                            nullptr);
    vx_log_external_message(VX_LOG_SEVERITY_ERROR, nullptr, nullptr, nullptr, nullptr, 0, nullptr);
    Host::instance().setLogEcho(nullptr);

    const auto& lines = Host::instance().logLines();
    ASSERT_EQ(lines.size(), 3u);
    const vxsim::LogLine& loud = lines[1];
    EXPECT_EQ(loud.severity, VX_LOG_SEVERITY_WARN);
    EXPECT_EQ(std::tie(loud.module, loud.message, loud.file, loud.function, loud.line),
              std::make_tuple("SDKExt", "loud", "b.cpp", "checkStatus", 42));

    std::rewind(echo);
    char text[256] = {};
    const size_t got = std::fread(text, 1, sizeof text - 1, echo);
    std::fclose(echo);
    EXPECT_EQ(std::string(text, got),
              "[WARN] SDKExt checkStatus: loud (b.cpp:42)\n[ERROR]  :  (:0)\n");
}

namespace wire = vxsim::wire;

TEST(WireTest, ResponsesCountHalfWordsAndPadOddData) {
    const Bytes odd = wire::makeResponse(wire::ReadFlash, 0x1234, 0x8001, {1, 2, 3});
    EXPECT_EQ(odd, (Bytes{'R', 'B', 3, 0, 25, 0, 0x34, 0x12, 0x01, 0x80, 1, 2, 3, 0}));
    const Bytes even = wire::makeResponse(wire::GetProperty, 1, 0, {1, 2});
    EXPECT_EQ(wire::le16(&even[2]) * 2u, even.size() - 8);
    EXPECT_EQ(wire::makeResponse(wire::EraseFlash, 1, 0).size(), 10u);
}

TEST(WireTest, RequestsParseAndRejectGarbage) {
    Bytes bytes{'G', 'M', 3, 0, wire::WriteFlash, 0, 0x34, 0x12};
    wire::putLe32(bytes, 0xA1B2C3D4);
    wire::putLe16(bytes, 0xBEEF);
    const auto request = wire::parseRequest(bytes);
    ASSERT_TRUE(request.has_value());
    EXPECT_EQ(request->halfWordSize, 3);
    EXPECT_EQ(request->opcode, wire::WriteFlash);
    EXPECT_EQ(request->requestId, 0x1234);
    EXPECT_EQ(request->u32(0), 0xA1B2C3D4u);
    EXPECT_EQ(request->u16(4), 0xBEEF);
    EXPECT_EQ(request->u32(3), 0u);  // would reach past the payload
    EXPECT_EQ(request->u16(100), 0);
    EXPECT_STREQ(wire::opcodeName(request->opcode), "WRITE_FLASH");
    EXPECT_STREQ(wire::opcodeName(0x7777), "UNKNOWN");

    EXPECT_FALSE(wire::parseRequest(Bytes(bytes.begin(), bytes.begin() + 7)).has_value());
    bytes[1] = 'X';
    EXPECT_FALSE(wire::parseRequest(bytes).has_value());
}

TEST(WireTest, RepliesEchoTheRequest) {
    const auto request = wire::parseRequest({'G', 'M', 0, 0, wire::GetCmdVersion, 0, 9, 0});
    ASSERT_TRUE(request.has_value());
    const Reply ok = wire::okReply(*request, {5});
    EXPECT_EQ(ok.bytes, wire::makeResponse(wire::GetCmdVersion, 9, 0, {5}));
    const Reply refused = wire::statusReply(*request, 3, "oops");
    EXPECT_EQ(refused.bytes,
              wire::makeResponse(wire::GetCmdVersion, 9, 3, {'o', 'o', 'p', 's', 0}));
    EXPECT_FALSE(refused.transportError);
}

}  // namespace
