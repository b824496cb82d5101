// The emulated host's own strictness, which the library's tests rely on without noticing when it
// breaks: live-object counts for the leak checks, failure switches, the call journal, and
// answers that never reach past the buffer offered nor change it when a call fails.
#include <algorithm>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "support/SimTest.h"

namespace {

using Bytes = std::vector<uint8_t>;
using vxsim::Failure;
using vxsim::HostCall;
using vxsim::Reply;

// Answers every request with `reply`, and structured data for id 5 only.
struct Scripted : vxsim::Responder {
    Reply reply;
    Bytes structure5;
    Reply exchange(const Bytes&, uint32_t) override { return reply; }
    bool structuredData(uint32_t id, Bytes& out) override {
        out = structure5;
        return id == 5;
    }
};

class EmulatorTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        camera.setResponder(device);
        std::fill(memory, memory + sizeof memory, uint8_t{0xEE});
    }

    // Message of the error (released here), or "" when none was set.
    static std::string take(vx_error*& error) {
        std::string message = error != nullptr ? vx_error_get_message(error) : "";
        vx_delete_error(error);
        error = nullptr;
        return message;
    }

    // One exchange into `memory`, offering `capacity` of its bytes: the size handed back and
    // the error message.
    std::pair<uint32_t, std::string> send(uint32_t capacity) {
        vx_error* error = nullptr;
        vx_device_send_and_receive_data(camera.handle(), request.data(), 8, memory, &capacity,
                                        &error);
        return {capacity, take(error)};
    }

    std::shared_ptr<Scripted> device = std::make_shared<Scripted>();
    vxsim::Device camera{{0x3A6E, 0x0840, "USB3.0", "1.7.16", {{"serial", "AB12"}}}};
    const Bytes request{'G', 'M', 0, 0, 5, 0, 1, 0};
    uint8_t memory[16];
};

TEST_F(EmulatorTest, HostObjectsAreCountedSnapshots) {
    const int infos = host().liveDeviceInfos(), errors = host().liveErrors();
    vx_device_info* info = vx_device_get_device_info(camera.handle(), nullptr);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(host().liveDeviceInfos(), infos + 1);
    const char* serial = vx_device_get_extension_info(camera.handle(), "serial", nullptr);
    camera.identity().firmwareVersion = "9.9.9";  // must not reach what was already handed out
    camera.identity().extensionInfo["serial"] = "changed";
    EXPECT_STREQ(serial, "AB12");
    EXPECT_EQ(vx_device_info_get_vid(info, nullptr), 0x3A6E);
    EXPECT_EQ(vx_device_info_get_pid(info, nullptr), 0x0840);
    EXPECT_STREQ(vx_device_info_get_connection_type(info, nullptr), "USB3.0");
    EXPECT_STREQ(vx_device_info_get_firmware_version(info, nullptr), "1.7.16");
    vx_delete_device_info(info, nullptr);
    EXPECT_EQ(host().liveDeviceInfos(), infos);

    vx_error* error = vx_create_error(7, "bad crc", "writeFlash", "addr=0x10", 3);
    EXPECT_EQ(host().liveErrors(), errors + 1);
    EXPECT_EQ(std::make_tuple(vxsim::errorStatus(error), vxsim::errorExceptionType(error),
                              std::string(vxsim::errorArgs(error)),
                              std::string(vx_error_get_function(error))),
              std::make_tuple(7, 3, "addr=0x10", "writeFlash"));
    EXPECT_EQ(take(error), "bad crc");
    vx_error* blank = vx_create_error(1, nullptr, nullptr, nullptr, 0);
    EXPECT_EQ(take(blank), "");
    EXPECT_EQ(host().liveErrors(), errors);
}

TEST_F(EmulatorTest, FailureSwitchSkipsFailsThrowsOrStaysSilent) {
    const auto pattern = [&](int calls) {  // 'o' went through, 'F' failed
        std::string seen;
        while (calls-- > 0) seen += send(8).second.empty() ? 'o' : 'F';
        return seen;
    };
    host().failCall(HostCall::SendAndReceive, Failure{2, 2, "link gone", false});
    EXPECT_EQ(pattern(6), "ooFFoo");
    EXPECT_EQ(host().callCount(HostCall::SendAndReceive), 6u);
    host().failCall(HostCall::SendAndReceive, Failure{1, 0, "link gone", false});  // restarts
    EXPECT_EQ(pattern(5), "oFFFF");
    host().clearFailures();
    EXPECT_EQ(pattern(1), "o");
    host().reset();
    EXPECT_EQ(host().callCount(HostCall::SendAndReceive), 0u);

    host().failCall(HostCall::GetDeviceInfo, Failure{0, 2, "host exploded", true});
    EXPECT_THROW(vx_device_get_device_info(camera.handle(), nullptr), std::runtime_error);
    host().failCall(HostCall::GetDeviceInfo, Failure{});
    EXPECT_EQ(vx_device_get_device_info(camera.handle(), nullptr), nullptr);  // and no error leaks
}

// Each host call, failed once, reports under its own name and skips its work; the next goes on.
TEST_F(EmulatorTest, EveryHostCallHonoursItsSwitch) {
    device->reply.bytes = {1, 2};
    device->structure5 = {9};
    vx_device_info* info = vx_device_get_device_info(camera.handle(), nullptr);
    vx_device_t* dev = camera.handle();
    uint32_t size = 0;
    const std::map<HostCall, std::function<bool(vx_error**)>> calls{
        {HostCall::GetDeviceInfo,
         [&](vx_error** e) {
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
        {HostCall::DeleteDeviceInfo,
         [&](vx_error** e) {
             // A failing delete still frees the object; only the error tells it failed.
             const int live = host().liveDeviceInfos();
             vx_delete_device_info(vx_device_get_device_info(dev, nullptr), e);
             return host().liveDeviceInfos() == live && *e == nullptr;
         }},
        {HostCall::SendAndReceive,
         [&](vx_error** e) {
             vx_device_send_and_receive_data(dev, memory, 1, memory, &(size = 4), e);
             return size == 2;
         }},
        {HostCall::GetStructuredData,
         [&](vx_error** e) {
             vx_device_get_structured_data(dev, 5, memory, &(size = 4), e);
             return size == 1;
         }},
        {HostCall::GetExtensionInfo,
         [&](vx_error** e) { return vx_device_get_extension_info(dev, "serial", e) != nullptr; }},
        {HostCall::LogExternalMessage,
         [&](vx_error** e) {
             vx_log_external_message(VX_LOG_SEVERITY_INFO, "m", "x", "f", "g", 1, e);
             return !host().logLines().empty();
         }},
    };
    ASSERT_EQ(calls.size(), static_cast<size_t>(vxsim::kHostCallCount));
    for (const auto& [call, invoke] : calls) {
        SCOPED_TRACE(vxsim::hostCallName(call));
        host().failCall(call, Failure{0, 1, "refused", false});
        vx_error* error = nullptr;
        EXPECT_FALSE(invoke(&error));
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(vxsim::errorStatus(error), 1);
        EXPECT_STREQ(vx_error_get_function(error), vxsim::hostCallName(call));
        EXPECT_EQ(take(error), "refused");
        EXPECT_TRUE(invoke(&error));
        EXPECT_EQ(take(error), "");
    }
    vx_delete_device_info(info, nullptr);
}

TEST_F(EmulatorTest, AnswersAreCutToTheBufferAndFailuresLeaveItAlone) {
    device->reply.bytes = {0xA, 0xB, 0xC};
    EXPECT_EQ(send(8), std::make_pair(3u, std::string()));
    EXPECT_EQ(Bytes(memory, memory + 4), (Bytes{0xA, 0xB, 0xC, 0xEE}));
    const vxsim::Exchange& seen = camera.exchanges().at(0);
    EXPECT_EQ(std::tie(seen.request, seen.response, seen.capacity, seen.reportedLength),
              std::make_tuple(request, Bytes{0xA, 0xB, 0xC}, 8u, 3u));

    device->reply.bytes = Bytes(20, 0x11);
    EXPECT_EQ(send(8).first, 8u);
    EXPECT_EQ(camera.exchanges().back().response, Bytes(8, 0x11));
    device->reply.reportedLength = 4096;  // a lying device: the caller must not trust it
    EXPECT_EQ(send(8).first, 4096u);
    EXPECT_EQ(camera.exchanges().back().reportedLength, 4096u);
    EXPECT_EQ(Bytes(memory + 8, memory + 16), Bytes(8, 0xEE));

    device->structure5 = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    uint32_t size = 8;
    vx_device_get_structured_data(camera.handle(), 5, memory + 8, &size, nullptr);
    EXPECT_EQ(size, 8u);
    EXPECT_EQ(Bytes(memory + 8, memory + 16), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));

    std::fill(memory, memory + sizeof memory, uint8_t{0xEE});
    device->reply = Reply::transportFailure("link down");
    EXPECT_EQ(send(4), std::make_pair(4u, std::string("link down")));
    EXPECT_EQ(camera.exchanges().back().errorMessage, "link down");
    device->reply.hostThrows = true;
    EXPECT_THROW(send(4), std::runtime_error);
    vx_error* error = nullptr;
    vx_device_get_structured_data(camera.handle(), 6, memory, &size, &error);
    EXPECT_EQ(take(error), "Structured data not available: 6");
    camera.setResponder(nullptr);
    EXPECT_NE(send(4).second, "");
    EXPECT_EQ(camera.exchanges().size(), 6u) << "failed exchanges are recorded too";
    EXPECT_EQ(Bytes(memory, memory + 16), Bytes(16, 0xEE));
    vx_device_send_and_receive_data(nullptr, memory, 1, memory, nullptr, &error);
    EXPECT_NE(take(error), "");
}

TEST_F(EmulatorTest, CallJournalRecordsWhileOnAndResetEndsIt) {
    vx_delete_device_info(vx_device_get_device_info(camera.handle(), nullptr), nullptr);
    EXPECT_TRUE(host().callJournal().empty()) << "off by default";
    host().setCallJournal(true);
    vx_delete_device_info(vx_device_get_device_info(camera.handle(), nullptr), nullptr);
    EXPECT_THAT(host().callJournal(),
                ::testing::ElementsAre("vx_device_get_device_info", "vx_delete_device_info"));
    host().reset();
    send(8);
    EXPECT_TRUE(host().callJournal().empty());
}

}  // namespace
