// Tests of the virtual camera, fault plans, link accounting, the exchange dump and the model
// catalog. Requests are built byte by byte and sent through the host's C function, so these
// tests check the device side independently of the library's codec.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support/SimTest.h"
#include "vxsim/Faults.h"
#include "vxsim/LinkModel.h"
#include "vxsim/Models.h"
#include "vxsim/Trace.h"
#include "vxsim/VirtualCamera.h"

namespace {

using Bytes = std::vector<uint8_t>;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;
using vxsim::Fault;
using vxsim::FaultKind;
using vxsim::FaultRule;
namespace wire = vxsim::wire;

// The camera's error codes as they travel (vxsim::CameraStatus).
constexpr uint16_t kBadRequest = 1, kOutOfRange = 2, kUnknownId = 4, kCrcMismatch = 5,
                   kUnsupported = 6, kOutOfSequence = 7, kTooLarge = 8;

// A request: u32 fields, then raw bytes; halfWordSize rounded up as the host writes it.
Bytes req(uint16_t opcode, std::vector<uint32_t> fields = {}, const Bytes& tail = {},
          uint16_t id = 1) {
    Bytes out{'G', 'M'};
    wire::putLe16(out, static_cast<uint16_t>((4 * fields.size() + tail.size() + 1) / 2));
    wire::putLe16(out, opcode);
    wire::putLe16(out, id);
    for (uint32_t field : fields) wire::putLe32(out, field);
    out.insert(out.end(), tail.begin(), tail.end());
    return out;
}

Bytes readFlashReq(uint32_t offset, uint16_t words, uint16_t id = 1) {
    return req(wire::ReadFlash, {offset}, {static_cast<uint8_t>(words), 0}, id);
}

struct Answer {
    bool failed = false;
    uint32_t reported = 0;
    Bytes bytes;  // as written into the buffer
    uint16_t status() const { return bytes.size() >= 10 ? wire::le16(&bytes[8]) : 0xFFFF; }
    Bytes data() const {
        return bytes.size() > 10 ? Bytes(bytes.begin() + 10, bytes.end()) : Bytes();
    }
    std::string text() const {
        const Bytes d = data();
        return std::string(d.begin(), std::find(d.begin(), d.end(), 0));
    }
};

Answer send(vxsim::Device& device, const Bytes& request, uint32_t capacity = 1024) {
    Answer answer{false, capacity, Bytes(capacity)};
    vx_error* error = nullptr;
    vx_device_send_and_receive_data(device.handle(), request.data(),
                                    static_cast<uint32_t>(request.size()), answer.bytes.data(),
                                    &answer.reported, &error);
    answer.failed = error != nullptr;
    vx_delete_error(error);
    answer.bytes.resize(answer.failed ? 0 : std::min(answer.reported, capacity));
    return answer;
}

// Whether the host can read a bootloader's information block from the camera.
bool answersBootloaderInfo(vxsim::EmulatedCamera& cam) {
    uint8_t buffer[32];
    uint32_t size = sizeof buffer;
    vx_error* error = nullptr;
    vx_device_get_structured_data(cam.handle(), vxsim::kBootloaderInfoId, buffer, &size, &error);
    const bool answered = error == nullptr && size == 16;
    vx_delete_error(error);
    return answered;
}

class VirtualCameraTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        device.setResponder(camera);
    }
    std::shared_ptr<vxsim::VirtualCamera> camera = std::make_shared<vxsim::VirtualCamera>();
    vxsim::Device device{{0x3A6E, 0x0800, "USB3.0", "1.7.16", {}}};
};

class FaultPlanTest : public SimTest {};
class RecordingTest : public SimTest {};
class ModelCatalogTest : public SimTest {};

TEST_F(VirtualCameraTest, FlashIsNorMemoryWithCheckedRanges) {
    EXPECT_EQ(send(device, req(wire::EraseFlash, {0x1000, 16})).status(), 0);
    // Odd data lengths count as received; halfWordSize would claim one byte more.
    EXPECT_EQ(send(device, req(wire::WriteFlash, {0x1000}, {0xF0, 0x0F, 0xAA})).status(), 0);
    EXPECT_EQ(send(device, req(wire::WriteFlash, {0x1000}, {0xFF, 0xFF, 0x55})).status(), 0);
    EXPECT_EQ(send(device, readFlashReq(0x1000, 2)).data(), (Bytes{0xF0, 0x0F, 0x00, 0xFF}));
    EXPECT_EQ(send(device, req(wire::EraseFlash, {0x1000, 2})).status(), 0);
    EXPECT_EQ(send(device, readFlashReq(0x1000, 2)).data(), (Bytes{0xFF, 0xFF, 0x00, 0xFF}));

    const uint32_t end = static_cast<uint32_t>(camera->flash().size());
    const Bytes before = camera->flash();
    for (const Bytes& bad :
         {req(wire::WriteFlash, {end - 1}, {0, 0}), req(wire::EraseFlash, {end - 4, 5}),
          req(wire::EraseFlash, {0xFFFFFFFF, 2}), readFlashReq(end - 2, 2)}) {
        EXPECT_EQ(send(device, bad).status(), kOutOfRange);
    }
    EXPECT_EQ(camera->flash(), before);
    EXPECT_EQ(send(device, readFlashReq(0, 8), 20).status(), kTooLarge);
    EXPECT_EQ(send(device, req(wire::WriteFlash, {}, {1, 2})).status(), kBadRequest);
    EXPECT_EQ(camera->counters().erases, 2u);
    EXPECT_EQ(camera->counters().flashBytesWritten, 6u);
}

TEST_F(VirtualCameraTest, FinishWriteFlashChecksTheCrcOfWhatWasWrittenSinceTheErase) {
    EXPECT_EQ(vxsim::crc32Mpeg2(reinterpret_cast<const uint8_t*>("123456789"), 9), 0x0376E6E7u);
    send(device, req(wire::EraseFlash, {0x2000, 0x1000}));
    send(device, req(wire::WriteFlash, {0x2100}, {1, 2, 3}));
    send(device, req(wire::WriteFlash, {0x2000}, {4, 5}));
    // The window runs from the lowest written byte to the highest end, gap included.
    const uint32_t crc = vxsim::crc32Mpeg2(camera->flash().data() + 0x2000, 0x103);
    const Answer wrong = send(device, req(wire::FinishWriteFlash, {crc ^ 1}));
    EXPECT_EQ(wrong.status(), kCrcMismatch);
    EXPECT_NE(wrong.text().find("CRC mismatch"), std::string::npos) << wrong.text();
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash, {crc})).status(), 0);
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash)).status(), 0);  // no CRC: nothing to check
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash, {}, {1, 2})).status(), kBadRequest);
    send(device, req(wire::EraseFlash, {0, 4}));  // a new, empty window
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash, {0xFFFFFFFF})).status(), 0);
    EXPECT_EQ(camera->counters().crcMismatches, 1u);
}

TEST_F(VirtualCameraTest, PropertiesAndStructureSequences) {
    EXPECT_EQ(send(device, req(wire::GetProperty, {77})).status(), kUnknownId);
    EXPECT_EQ(send(device, req(wire::SetProperty, {77, 0xFFFFFFFE})).status(), 0);
    const Answer got = send(device, req(wire::GetProperty, {77}));
    ASSERT_EQ(got.bytes.size(), 30u);  // value, then min, max, step and default
    EXPECT_EQ(static_cast<int32_t>(wire::le32(&got.data()[0])), -2);

    // The hook sees the signed value, and its status is the answer.
    camera->setPropertyHook(
        214, [](uint32_t, int32_t value) -> uint16_t { return value == -1 ? 0x0042 : 0x8001; });
    EXPECT_EQ(send(device, req(wire::SetProperty, {214, 0xFFFFFFFF})).status(), 0x0042);
    EXPECT_FALSE(camera->property(214).has_value());  // refused, not stored
    EXPECT_EQ(send(device, req(wire::SetProperty, {214, 5})).status(), 0x8001);
    EXPECT_EQ(camera->property(214), 5);  // a warning still stores

    camera->setStructureSequence(1006, {{1}, {2}, {3, 3}});
    Bytes seen;
    for (int i = 0; i < 4; ++i) {
        const Bytes data = send(device, req(wire::GetStructureData, {1006})).data();
        seen.insert(seen.end(), data.begin(), data.end());
    }
    EXPECT_EQ(seen, (Bytes{1, 0, 2, 0, 3, 3, 3, 3}));  // odd data is padded; the last repeats
    EXPECT_EQ(send(device, req(wire::GetStructureData, {9})).status(), kUnknownId);
}

TEST_F(VirtualCameraTest, RawDataObjectLifecycle) {
    camera->addRawDataObject(1052, 8, {9, 9});
    camera->setRawDataHook(1052, [](uint32_t, const Bytes& content) -> uint16_t {
        return content == Bytes{'a', 'b', 'c', 'd', 'e', 0} ? 0x8003 : 1;
    });
    EXPECT_EQ(send(device, req(wire::WriteData, {1052, 0}, {1})).status(), kOutOfSequence);
    EXPECT_EQ(send(device, req(wire::StartWriteData, {1052, 9})).status(), kTooLarge);
    EXPECT_EQ(send(device, req(wire::StartWriteData, {1052, 6})).status(), 0);
    EXPECT_EQ(send(device, req(wire::WriteData, {1052, 4}, {1, 2, 3})).status(), kOutOfRange);
    EXPECT_EQ(send(device, req(wire::WriteData, {1052, 0}, {'a', 'b', 'c'})).status(), 0);
    EXPECT_EQ(send(device, req(wire::WriteData, {1052, 3}, {'d', 'e'})).status(), 0);
    EXPECT_EQ(camera->rawData(1052), (Bytes{9, 9}));  // pending until finished
    EXPECT_EQ(send(device, req(wire::FinishWriteData, {1052})).status(), 0x8003);
    EXPECT_EQ(camera->rawData(1052), (Bytes{'a', 'b', 'c', 'd', 'e', 0}));

    EXPECT_EQ(send(device, req(wire::GetReadDataSize, {1052})).data(), (Bytes{6, 0, 0, 0}));
    EXPECT_EQ(send(device, req(wire::ReadData, {1052, 2, 100})).data(), (Bytes{'c', 'd', 'e', 0}));
    // Clamped to the buffer, in whole words so the padding fits too.
    EXPECT_EQ(send(device, req(wire::ReadData, {1052, 0, 6}), 13).data(), (Bytes{'a', 'b'}));
    EXPECT_EQ(send(device, req(wire::FinishReadData, {1052})).status(), 0);
    EXPECT_EQ(send(device, req(wire::ReadData, {4039, 0, 1})).status(), kUnknownId);
    EXPECT_EQ(send(device, req(wire::ReadData, {1052, 0})).status(), kBadRequest);
}

TEST_F(VirtualCameraTest, OddRequestsGetErrorsThatFitTheBuffer) {
    EXPECT_EQ(send(device, req(0x77)).text(), "unsupported opcode 119");
    const Answer cut = send(device, req(0x77), 13);
    ASSERT_EQ(cut.bytes.size(), 12u);
    EXPECT_EQ(cut.status(), kUnsupported);
    EXPECT_EQ(wire::le16(&cut.bytes[2]), 2);  // the header declares what was sent
    EXPECT_TRUE(send(device, {'G', 'X', 0, 0, 5, 0, 1, 0}).failed);
    EXPECT_EQ(camera->counters().deviceErrors, 2u);
}

TEST_F(FaultPlanTest, EveryFaultKindSpoilsARead) {
    const Bytes data{0x11, 0x22, 0x33, 0x44};
    using Check = std::function<bool(const Answer&)>;
    const auto failed = [](const Answer& a) { return a.failed; };
    const std::vector<std::tuple<Fault, bool, Check>> cases{
        // fault, executed, what it spoils
        {Fault::transportError(), false, failed},
        {Fault::staleRequestId(), true, [](const Answer& a) { return a.bytes[6] == 6; }},
        {Fault::busy(), false, [](const Answer& a) { return a.status() == 3; }},
        {Fault::deviceError(0x21), false, [](const Answer& a) { return a.status() == 0x21; }},
        {Fault::deviceWarning(0x8002), true,
         [&](const Answer& a) { return a.status() == 0x8002 && a.data() == data; }},
        {Fault::badMagic(), true, [](const Answer& a) { return a.bytes[0] == 'X'; }},
        {Fault::truncate(6), true, [](const Answer& a) { return a.bytes.size() == 6; }},
        {Fault::overlongBody(4), true,
         [](const Answer& a) { return a.bytes.size() == 8u + 2u * wire::le16(&a.bytes[2]) + 4u; }},
        {Fault::overlongLength(64), true, [](const Answer& a) { return a.reported == 128; }},
        {Fault::bitFlip(9), true,
         [](const Answer& a) {
             return a.data() == Bytes{0x11, 0x20, 0x33, 0x44};
         }},
        {Fault::disappear(), false, failed},
    };
    ASSERT_EQ(cases.size(), vxsim::kFaultKindCount);
    for (const auto& [fault, executed, spoiled] : cases) {
        SCOPED_TRACE(vxsim::faultKindName(fault.kind));
        auto cam = vxsim::makeCamera("l840");
        cam->camera().writeFlashDirect(0x100, data);
        cam->faults().add(FaultRule::onOpcode(wire::ReadFlash, fault));
        ASSERT_EQ(send(cam->device(), req(wire::HeartbeatAndState, {}, {}, 6)).status(), 0);
        EXPECT_TRUE(spoiled(send(cam->device(), readFlashReq(0x100, 2, 7), 64)));
        EXPECT_EQ(cam->camera().counters().flashBytesRead, executed ? 4u : 0u);
        EXPECT_EQ(cam->faults().injected(fault.kind), 1u);
        EXPECT_EQ(cam->faults().injected(), 1u);
    }
}

TEST_F(FaultPlanTest, FaultRulesMatchByPositionAndTheDeviceCanDisappear) {
    auto cam = vxsim::makeCamera("l840-boot");
    cam->faults()
        .add(FaultRule::atExchange(1, Fault::busy()))
        .add(FaultRule::onOpcode(wire::WriteFlash, 2, Fault::transportError()))
        .disappearAfter(7);
    std::string pattern;  // o ok, B busy, T transport error
    for (int i = 0; i < 9; ++i) {
        const Answer a = send(cam->device(), i % 2 != 0 ? req(wire::HeartbeatAndState)
                                                        : req(wire::WriteFlash, {0}, {0}));
        pattern += a.failed ? 'T' : a.status() == 3 ? 'B' : 'o';
    }
    // Exchange 1 is busy; the third write (exchange 4) fails; from exchange 7 on it is gone.
    EXPECT_EQ(pattern, "oBooTooTT");
    EXPECT_EQ(cam->camera().counters().flashWrites, 3u);
    EXPECT_EQ(cam->faults().injected(FaultKind::Disappear), 2u);
    EXPECT_FALSE(answersBootloaderInfo(*cam));  // a vanished device answers nothing
    cam->faults().reconnect();
    EXPECT_TRUE(answersBootloaderInfo(*cam));
    EXPECT_FALSE(send(cam->device(), req(wire::HeartbeatAndState)).failed);
}

TEST_F(RecordingTest, LinkModelAccountsEveryExchangeWithoutSleeping) {
    for (const vxsim::LinkModel& link : vxsim::linkPresets()) {
        SCOPED_TRACE(link.name);
        vxsim::Device device;
        device.setResponder(std::make_shared<vxsim::VirtualCamera>());
        device.setLinkModel(link);
        send(device, req(wire::WriteFlash, {0}, Bytes(480, 0)));
        send(device, req(wire::HeartbeatAndState));
        EXPECT_TRUE(send(device, {'X'}).failed);  // a failed exchange costs time too
        const double all = device.modelledSeconds();
        EXPECT_DOUBLE_EQ(
            all, 3 * link.latencySeconds + (12.0 + 480 + 10 + 8 + 18 + 1) / link.bytesPerSecond);
        device.setRecording(false);  // the clock runs on without the log
        send(device, req(wire::HeartbeatAndState));
        EXPECT_EQ(device.exchanges().size(), 3u);
        const double more = device.modelledSeconds();
        EXPECT_DOUBLE_EQ(more, all + link.latencySeconds + (8.0 + 18) / link.bytesPerSecond);
        device.clearExchanges();
        EXPECT_DOUBLE_EQ(device.modelledSeconds(), more);  // the log and the clock are apart
        device.resetModelledTime();
        EXPECT_EQ(device.modelledSeconds(), 0.0);
    }
    EXPECT_TRUE(vxsim::linkPreset("gmsl2").has_value());
    EXPECT_FALSE(vxsim::linkPreset("USB9").has_value());
}

TEST_F(RecordingTest, DumpShowsEachExchangeAndASummary) {
    auto cam = vxsim::makeCamera("l840");
    cam->faults().add(FaultRule::atExchange(1, Fault::transportError()));
    send(cam->device(), req(wire::EraseFlash, {0, 2}, {}, 1));
    send(cam->device(), readFlashReq(0, 1, 2));
    send(cam->device(), req(0x77, {}, {}, 3), 10);
    EXPECT_EQ(vxsim::dumpExchanges(cam->device()),
              "     0 ERASE_FLASH                    id=1     req=16     "
              "resp=10     status=0x0000\n"
              "     1 READ_FLASH                     id=2     req=14     "
              "resp=-      transport error\n"
              "     2 UNKNOWN(0x0077)                id=3     req=8      "
              "resp=10     status=0x0006\n"
              "3 exchanges, 1 transport errors, 1 device errors, 0 warnings; "
              "sent 38 bytes, received 20\n"
              "  ERASE_FLASH 1, READ_FLASH 1, UNKNOWN(0x0077) 1\n");
}

TEST_F(ModelCatalogTest, CatalogBuildsCamerasFromOneLine) {
    auto cam = vxsim::makeCamera(" l840 , conn=GMSL2, fw=1.2.3, flash=0x800000, isp=2.0 ");
    const vxsim::Identity& id = cam->device().identity();
    EXPECT_EQ(std::tie(id.pid, id.connectionType, id.firmwareVersion),
              std::make_tuple(0x0800, "GMSL2", "1.2.3"));
    EXPECT_EQ(cam->camera().flash().size(), size_t{8} << 20);
    EXPECT_STREQ(vx_device_get_extension_info(cam->handle(), "IspFwVer", nullptr), "2.0");
    ASSERT_TRUE(cam->device().linkModel().has_value());
    EXPECT_EQ(cam->device().linkModel()->name, "GMSL2");
    EXPECT_EQ(send(cam->device(), req(wire::StartWriteData, {1052, 129})).status(), kTooLarge);
    EXPECT_EQ(vxsim::makeCamera("miromax")->camera().property(133), 1);
    EXPECT_EQ(vxsim::makeCamera("l945se,flash=16M")->camera().flash().size(), size_t{16} << 20);
    for (const std::string& name : vxsim::modelNames()) EXPECT_NO_THROW(vxsim::makeCamera(name));

    // Each refusal names what is wrong.
    const std::map<std::string, std::string> refused{{"", "no model"},
                                                     {"l999", "'l999'"},
                                                     {"l840,colour=red", "'colour=red'"},
                                                     {"l840,boot=1", "'boot' takes no value"},
                                                     {"l815,boot", "no bootloader"},
                                                     {"l840,flash=1M", "8 MiB"},
                                                     {"l840,flash=12Q", "'12Q'"},
                                                     {"l840,fw=", "'fw='"},
                                                     {"l840,boot,saveinfo=fallback", "L5-family"}};
    for (const auto& [description, why] : refused) {
        EXPECT_THAT([d = description] { vxsim::makeCamera(d); },
                    ThrowsMessage<std::invalid_argument>(HasSubstr(why)));
    }
}

}  // namespace
