// Flash read and write against a virtual camera: requests on the wire, progress sequences, the
// verify modes, and what happens when one step fails.
#include <gmock/gmock.h>

#include <numeric>

#include "DevicePidAndMap.h"
#include "support/Progress.h"
#include "support/SimTest.h"
#include "support/Tamper.h"
#include "vendorcommand/VendorCommand.h"
#include "vxsim/VirtualCamera.h"

using namespace libvxsensor;
using ::testing::ElementsAre;
namespace vc = libvxsensor::VendorCommand;
namespace wire = vxsim::wire;

class FlashTransferTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        device.setResponder(camera);
    }
    void TearDown() override {
        resetDeviceGroupTables();
        SimTest::TearDown();
    }

    static std::vector<uint8_t> pattern(size_t size) {
        std::vector<uint8_t> bytes(size);
        std::iota(bytes.begin(), bytes.end(), uint8_t{7});
        return bytes;
    }
    // Opcodes of the recorded requests, in order.
    std::vector<int> opcodes() const {
        std::vector<int> out;
        for (const auto& e : device.exchanges())
            out.push_back(wire::parseRequest(e.request)->opcode);
        return out;
    }
    std::vector<size_t> writeSizes() const {
        std::vector<size_t> out;
        for (const auto& e : device.exchanges()) {
            if (wire::parseRequest(e.request)->opcode == wire::WriteFlash)
                out.push_back(e.request.size() - 12);
        }
        return out;
    }
    // Alters answers of the camera through `edit`.
    void tamper(Tamper::Edit edit) {
        device.setResponder(std::make_shared<Tamper>(camera, std::move(edit)));
    }

    std::shared_ptr<vxsim::VirtualCamera> camera = std::make_shared<vxsim::VirtualCamera>();
    vxsim::Device device{{0x3A6E, 0x0800, "USB3.0", "1.7.16", {}}};
    SetProgress progress;
};

TEST_F(FlashTransferTest, ReadBackWriteReportsEveryStepAndLandsInFlash) {
    const auto image = pattern(1000);
    vc::writeFlash(device.handle(), 0x20000, image.data(), 1000, progress.callback(), false,
                   vc::VERIFY_READ_BACK, 480);
    EXPECT_EQ(
        progress.reports,
        (Reports{{0, 48}, {0, 96}, {0, 100}, {1, 48}, {1, 96}, {1, 100}, {4, 100}, {2, 100}}));
    EXPECT_TRUE(std::equal(image.begin(), image.end(), camera->flash().begin() + 0x20000));
    EXPECT_EQ(opcodes(), (std::vector<int>{13, 14, 14, 14, 15, 25, 25, 25}));
    EXPECT_EQ(writeSizes(), (std::vector<size_t>{480, 480, 40}));
}

TEST_F(FlashTransferTest, ExactMultipleOfTheChunkNeedsNoShortWrite) {
    const auto image = pattern(960);
    vc::writeFlash(device.handle(), 0, image.data(), 960, {}, false, vc::VERIFY_NONE, 480);
    EXPECT_EQ(writeSizes(), (std::vector<size_t>{480, 480}));
}

TEST_F(FlashTransferTest, EmptyWriteStillErasesAndFinishes) {
    vc::writeFlash(device.handle(), 0, nullptr, 0, progress.callback(), false, vc::VERIFY_READ_BACK,
                   480);
    EXPECT_EQ(opcodes(), (std::vector<int>{13, 15}));
    EXPECT_EQ(progress.reports, (Reports{{4, 100}, {2, 100}}));
}

TEST_F(FlashTransferTest, OneDifferingByteFailsVerificationAfterReadingEverything) {
    tamper([](const wire::Request& r, int nth, vxsim::Reply& reply) {
        if (r.opcode == wire::ReadFlash && nth == 1) reply.bytes[10 + 17] ^= 0x01;
    });
    const auto image = pattern(1000);
    vc::writeFlash(device.handle(), 0, image.data(), 1000, progress.callback(), false,
                   vc::VERIFY_READ_BACK, 480);
    EXPECT_EQ(progress.reports,
              (Reports{{0, 48}, {0, 96}, {0, 100}, {1, 48}, {-4, 96}, {1, 52}, {-4, 0}}));
}

TEST_F(FlashTransferTest, FailedStepIsReportedOnceAndNothingMoreIsSent) {
    tamper([](const wire::Request& r, int nth, vxsim::Reply& reply) {
        if (r.opcode == wire::WriteFlash && nth == 1)
            reply = wire::statusReply(r, 0x0009, "program failed");
    });
    const auto image = pattern(1000);
    vc::writeFlash(device.handle(), 0, image.data(), 1000, progress.callback(), false,
                   vc::VERIFY_READ_BACK, 480);
    EXPECT_EQ(progress.reports, (Reports{{0, 48}, {-3, 0}}));
    EXPECT_EQ(opcodes(), (std::vector<int>{13, 14, 14}));
}

TEST_F(FlashTransferTest, WithoutACallbackFailuresAreIgnoredAndTheWriteGoesOn) {
    tamper([](const wire::Request& r, int, vxsim::Reply& reply) {
        if (r.opcode == wire::EraseFlash) reply = wire::statusReply(r, 0x0009, "erase failed");
    });
    const auto image = pattern(1000);
    vc::writeFlash(device.handle(), 0, image.data(), 1000, {}, false, vc::VERIFY_READ_BACK, 480);
    EXPECT_EQ(opcodes(), (std::vector<int>{13, 14, 14, 14, 15, 25, 25, 25}));
}

TEST_F(FlashTransferTest, ReadReportsChunksRelativeToTheRange) {
    camera->writeFlashDirect(0x30000, pattern(700));
    GetProgress got;
    vc::readFlash(device.handle(), 0x30000, 700, got.callback(), false, 480);
    EXPECT_EQ(got.reports, (Reports{{0, 0}, {0, 480}, {2, 700}}));
    EXPECT_EQ(got.sizes, (std::vector<uint32_t>{480, 220}));
    EXPECT_EQ(got.data, pattern(700));

    device.clearExchanges();
    vc::readFlash(device.handle(), 0, 0, got.callback(), false, 480);
    EXPECT_TRUE(device.exchanges().empty()) << "an empty read sends nothing";
}

// A short read answer is a failure too, never stale data handed on.
TEST_F(FlashTransferTest, ReadFailureOrShortAnswerIsReportedWithTheOffsetReached) {
    for (const bool shortAnswer : {true, false}) {
        tamper([shortAnswer](const wire::Request& r, int nth, vxsim::Reply& reply) {
            if (r.opcode != wire::ReadFlash || nth < 1) return;
            reply = shortAnswer ? wire::okReply(r, {1, 2, 3, 4})
                                : vxsim::Reply::transportFailure("gone");
        });
        GetProgress got;
        vc::readFlash(device.handle(), 0, 1000, got.callback(), false, 480);
        EXPECT_EQ(got.reports, (Reports{{0, 0}, {-3, 480}})) << shortAnswer;
    }
    EXPECT_THROW(vc::readFlash(device.handle(), 0, 1000, {}, false, 480), std::bad_function_call);
}

// A write request carries 12 bytes besides its data, a read answer 10: 1012 and 1014 fill a
// 1024-byte buffer. Beyond those, or at 0, nothing is sent; an empty read returns before.
TEST_F(FlashTransferTest, PacketSizesThatCannotFitABufferAreRefusedBeforeAnyTraffic) {
    const auto image = pattern(2048);
    EXPECT_THROW(
        vc::writeFlash(device.handle(), 0, image.data(), 10, {}, false, vc::VERIFY_NONE, 0),
        std::invalid_argument);
    EXPECT_THROW(
        vc::writeFlash(device.handle(), 0, image.data(), 10, {}, false, vc::VERIFY_NONE, 1013),
        std::invalid_argument);
    EXPECT_THROW(vc::readFlash(device.handle(), 0, 10, {}, false, 1015), std::invalid_argument);
    EXPECT_TRUE(device.exchanges().empty());
    vc::readFlash(device.handle(), 0, 0, {}, false, 0);
    vc::readFlash(device.handle(), 0, 0, {}, false, 5000);
    EXPECT_TRUE(device.exchanges().empty());

    camera->writeFlashDirect(0x1000, image);
    GetProgress got;
    vc::readFlash(device.handle(), 0x1000, 2048, got.callback(), false, 1014);
    EXPECT_EQ(got.sizes, (std::vector<uint32_t>{1014, 1014, 20}));
    EXPECT_EQ(got.data, image);
    SetProgress wrote;
    vc::writeFlash(device.handle(), 0x4000, image.data(), 2048, wrote.callback(), false,
                   vc::VERIFY_READ_BACK, 1012);
    EXPECT_THAT(writeSizes(), ElementsAre(1012, 1012, 24));
    EXPECT_EQ(wrote.reports.back(), (Report{2, 100}));
}
