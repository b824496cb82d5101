// The virtual camera's strictness where the library's flows would not notice a lax camera (NOR
// programming, the CRC window, ranges and capacities, raw-data steps out of turn), fault rules by
// position, link accounting, and the catalog's refusals. Requests are built byte by byte and sent
// through the host's C function, so the device side is checked apart from the library's codec.
#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support/SimTest.h"
#include "vxsim/Faults.h"
#include "vxsim/LinkModel.h"
#include "vxsim/Models.h"
#include "vxsim/VirtualCamera.h"

namespace {

using Bytes = std::vector<uint8_t>;
using vxsim::Fault;
using vxsim::FaultRule;
namespace wire = vxsim::wire;

// The camera's error codes as they travel (vxsim::CameraStatus).
constexpr uint16_t kBadRequest = 1, kOutOfRange = 2, kUnknownId = 4, kCrcMismatch = 5,
                   kUnsupported = 6, kOutOfSequence = 7, kTooLarge = 8;

// A request: u32 fields, then raw bytes; halfWordSize rounded up as the host writes it.
Bytes req(uint16_t opcode, std::vector<uint32_t> fields = {}, const Bytes& tail = {}) {
    Bytes out{'G', 'M'};
    wire::putLe16(out, static_cast<uint16_t>((4 * fields.size() + tail.size() + 1) / 2));
    wire::putLe16(out, opcode);
    wire::putLe16(out, 1);
    for (uint32_t field : fields) wire::putLe32(out, field);
    out.insert(out.end(), tail.begin(), tail.end());
    return out;
}

Bytes readFlashReq(uint32_t offset, uint16_t words) {
    return req(wire::ReadFlash, {offset}, {static_cast<uint8_t>(words), 0});
}

struct Answer {
    bool failed = false;
    Bytes bytes;  // as written into the buffer
    uint16_t status() const { return bytes.size() >= 10 ? wire::le16(&bytes[8]) : 0xFFFF; }
    Bytes data() const {
        return bytes.size() > 10 ? Bytes(bytes.begin() + 10, bytes.end()) : Bytes();
    }
};

Answer send(vxsim::Device& device, const Bytes& request, uint32_t capacity = 1024) {
    Answer answer{false, Bytes(capacity)};
    uint32_t reported = capacity;
    vx_error* error = nullptr;
    vx_device_send_and_receive_data(device.handle(), request.data(),
                                    static_cast<uint32_t>(request.size()), answer.bytes.data(),
                                    &reported, &error);
    answer.failed = error != nullptr;
    vx_delete_error(error);
    answer.bytes.resize(answer.failed ? 0 : std::min(reported, capacity));
    return answer;
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
    EXPECT_THROW(vxsim::VirtualCamera((size_t{8} << 20) - 1), std::invalid_argument);
}

TEST_F(VirtualCameraTest, FinishWriteFlashChecksTheCrcOfWhatWasWrittenSinceTheErase) {
    EXPECT_EQ(vxsim::crc32Mpeg2(reinterpret_cast<const uint8_t*>("123456789"), 9), 0x0376E6E7u);
    send(device, req(wire::EraseFlash, {0x2000, 0x1000}));
    send(device, req(wire::WriteFlash, {0x2100}, {1, 2, 3}));
    send(device, req(wire::WriteFlash, {0x2000}, {4, 5}));
    // The window runs from the lowest written byte to the highest end, gap included.
    const uint32_t crc = vxsim::crc32Mpeg2(camera->flash().data() + 0x2000, 0x103);
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash, {crc ^ 1})).status(), kCrcMismatch);
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash, {crc})).status(), 0);
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash)).status(), 0);  // no CRC: nothing to check
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash, {}, {1, 2})).status(), kBadRequest);
    send(device, req(wire::EraseFlash, {0, 4}));  // a new, empty window
    EXPECT_EQ(send(device, req(wire::FinishWriteFlash, {0xFFFFFFFF})).status(), 0);
    EXPECT_EQ(camera->counters().crcMismatches, 1u);
}

TEST_F(VirtualCameraTest, RawDataStepsOutOfTurnOrBeyondTheObjectAreRefused) {
    camera->addRawDataObject(1052, 8, {9, 9});
    EXPECT_EQ(send(device, req(wire::WriteData, {1052, 0}, {1})).status(), kOutOfSequence);
    EXPECT_EQ(send(device, req(wire::StartWriteData, {1052, 9})).status(), kTooLarge);
    EXPECT_EQ(send(device, req(wire::StartWriteData, {1052, 6})).status(), 0);
    EXPECT_EQ(send(device, req(wire::WriteData, {1052, 4}, {1, 2, 3})).status(), kOutOfRange);
    EXPECT_EQ(send(device, req(wire::WriteData, {1052, 0}, {'a', 'b', 'c', 'd', 'e'})).status(), 0);
    EXPECT_EQ(camera->rawData(1052), (Bytes{9, 9})) << "pending until finished";
    EXPECT_EQ(send(device, req(wire::FinishWriteData, {1052})).status(), 0);
    EXPECT_EQ(camera->rawData(1052), (Bytes{'a', 'b', 'c', 'd', 'e', 0}));
    // Clamped to the buffer, in whole words so the padding fits too.
    EXPECT_EQ(send(device, req(wire::ReadData, {1052, 0, 6}), 13).data(), (Bytes{'a', 'b'}));
    EXPECT_EQ(send(device, req(wire::ReadData, {4039, 0, 1})).status(), kUnknownId);
    EXPECT_EQ(send(device, req(wire::ReadData, {1052, 0})).status(), kBadRequest);
    EXPECT_THROW(camera->addRawDataObject(7, 1, {1, 2}), std::invalid_argument);
}

TEST_F(VirtualCameraTest, ErrorAnswersFitTheBufferAndGarbageGetsNone) {
    const Answer cut = send(device, req(0x77), 13);
    ASSERT_EQ(cut.bytes.size(), 12u);
    EXPECT_EQ(cut.status(), kUnsupported);
    EXPECT_EQ(wire::le16(&cut.bytes[2]), 2);  // the header declares what was sent
    EXPECT_TRUE(send(device, {'G', 'X', 0, 0, 5, 0, 1, 0}).failed);
    EXPECT_TRUE(send(device, {'G', 'M', 0, 0, 5, 0, 1}).failed);
    EXPECT_EQ(camera->counters().deviceErrors, 1u);
}

TEST(FaultPlanTest, RulesMatchByPositionAndTheDeviceCanDisappear) {
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
    EXPECT_EQ(cam->faults().injected(vxsim::FaultKind::Disappear), 2u);
    const auto answersInfo = [&cam] {
        uint8_t block[32];
        uint32_t size = sizeof block;
        vx_error* error = nullptr;
        vx_device_get_structured_data(cam->handle(), vxsim::kBootloaderInfoId, block, &size,
                                      &error);
        const bool answered = error == nullptr;
        vx_delete_error(error);
        return answered;
    };
    EXPECT_FALSE(answersInfo()) << "a vanished device answers nothing";
    cam->faults().reconnect();
    EXPECT_TRUE(answersInfo());
    EXPECT_FALSE(send(cam->device(), req(wire::HeartbeatAndState)).failed);
}

TEST(LinkModelTest, EveryExchangeCostsItsLatencyAndBytesWithoutSleeping) {
    for (const vxsim::LinkModel& link : vxsim::linkPresets()) {
        SCOPED_TRACE(link.name);
        vxsim::Device device;
        device.setResponder(std::make_shared<vxsim::VirtualCamera>());
        device.setLinkModel(link);
        send(device, req(wire::WriteFlash, {0}, Bytes(480, 0)));
        EXPECT_TRUE(send(device, {'X'}).failed);  // a failed exchange costs time too
        const double all = device.modelledSeconds();
        EXPECT_DOUBLE_EQ(all,
                         2 * link.latencySeconds + (12.0 + 480 + 10 + 1) / link.bytesPerSecond);
        device.setRecording(false);  // the clock runs on without the log
        send(device, req(wire::HeartbeatAndState));
        EXPECT_EQ(device.exchanges().size(), 2u);
        device.clearExchanges();
        EXPECT_DOUBLE_EQ(device.modelledSeconds(),
                         all + link.latencySeconds + (8.0 + 18) / link.bytesPerSecond);
    }
    EXPECT_TRUE(vxsim::linkPreset("gmsl2").has_value());
    EXPECT_FALSE(vxsim::linkPreset("USB9").has_value());
}

TEST(ModelCatalogTest, EveryNameBuildsAndEachRefusalNamesWhatIsWrong) {
    for (const std::string& name : vxsim::modelNames()) EXPECT_NO_THROW(vxsim::makeCamera(name));
    EXPECT_EQ(vxsim::makeCamera(" l945se , flash=0x800000 ")->camera().flash().size(),
              size_t{8} << 20);
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
                    ::testing::ThrowsMessage<std::invalid_argument>(::testing::HasSubstr(why)));
    }
}

}  // namespace
