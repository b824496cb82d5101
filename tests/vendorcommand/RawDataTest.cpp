// Raw-data transfers against a virtual camera's raw-data objects.
#include <gmock/gmock.h>

#include <numeric>

#include "support/Progress.h"
#include "support/SimTest.h"
#include "support/Tamper.h"
#include "vendorcommand/VendorCommand.h"
#include "vxsim/VirtualCamera.h"

using namespace libvxsensor;
namespace vc = libvxsensor::VendorCommand;
namespace wire = vxsim::wire;

class RawDataTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        camera->addRawDataObject(1052, 20000);
        device.setResponder(camera);
    }
    std::vector<std::pair<int, size_t>> requests() const {
        std::vector<std::pair<int, size_t>> out;
        for (const auto& e : device.exchanges())
            out.emplace_back(wire::parseRequest(e.request)->opcode, e.request.size());
        return out;
    }
    static std::vector<uint8_t> pattern(size_t size) {
        std::vector<uint8_t> bytes(size);
        std::iota(bytes.begin(), bytes.end(), uint8_t{3});
        return bytes;
    }

    std::shared_ptr<vxsim::VirtualCamera> camera = std::make_shared<vxsim::VirtualCamera>();
    vxsim::Device device{{0x3A6E, 0x0830, "USB3.0", "1.0.0", {}}};
    SetProgress progress;
};

TEST_F(RawDataTest, WriteSendsStartChunksAndFinish) {
    const auto data = pattern(1000);
    vc::setRawData(device.handle(), 1052, data.data(), 1000, progress.callback(), 480);
    EXPECT_EQ(requests(), (std::vector<std::pair<int, size_t>>{
                              {20, 16}, {21, 496}, {21, 496}, {21, 56}, {22, 12}}));
    EXPECT_EQ(progress.reports, (Reports{{0, 48}, {0, 96}, {0, 100}, {2, 100}}));
    EXPECT_EQ(camera->rawData(1052), data);
}

TEST_F(RawDataTest, EmptyWriteSendsStartAndFinishOnly) {
    vc::setRawData(device.handle(), 1052, nullptr, 0, progress.callback(), 480);
    EXPECT_EQ(requests(), (std::vector<std::pair<int, size_t>>{{20, 16}, {22, 12}}));
    EXPECT_EQ(progress.reports, (Reports{{2, 100}}));
}

TEST_F(RawDataTest, FailedChunkStopsWithOneReportAndNoFinish) {
    device.setResponder(
        std::make_shared<Tamper>(camera, [](const wire::Request& r, int nth, vxsim::Reply& reply) {
            if (r.opcode == wire::WriteData && nth == 1)
                reply = wire::statusReply(r, 0x0002, "bad offset");
        }));
    const auto data = pattern(1000);
    vc::setRawData(device.handle(), 1052, data.data(), 1000, progress.callback(), 480);
    EXPECT_EQ(progress.reports, (Reports{{0, 48}, {-3, 0}}));
    EXPECT_EQ(requests().back().first, wire::WriteData);

    device.clearExchanges();
    vc::setRawData(device.handle(), 1052, data.data(), 1000, {}, 480);
    EXPECT_EQ(requests().back().first, wire::FinishWriteData) << "without a callback it goes on";
}

TEST_F(RawDataTest, RefusedStartIsReportedOnce) {
    camera->addRawDataObject(7, 100);
    const auto data = pattern(1000);
    vc::setRawData(device.handle(), 7, data.data(), 1000, progress.callback(), 480);
    EXPECT_EQ(progress.reports, (Reports{{-3, 0}}));
    EXPECT_EQ(device.exchanges().size(), 1u);
}

TEST_F(RawDataTest, ReadStepsByTheChunkSize) {
    camera->setRawData(1052, pattern(1000));
    GetProgress got;
    vc::getRawData(device.handle(), 1052, got.callback(), 480);
    EXPECT_EQ(got.reports, (Reports{{0, 0}, {0, 480}, {0, 960}, {2, 1000}}));
    EXPECT_EQ(got.data, pattern(1000));
    EXPECT_EQ(requests(), (std::vector<std::pair<int, size_t>>{
                              {17, 12}, {18, 20}, {18, 20}, {18, 20}, {19, 12}}));
}

TEST_F(RawDataTest, EmptyObjectIsAskedForItsLengthAndFinished) {
    GetProgress got;
    vc::getRawData(device.handle(), 1052, got.callback(), 480);
    EXPECT_EQ(got.reports, (Reports{{2, 0}}));
    EXPECT_EQ(requests(), (std::vector<std::pair<int, size_t>>{{17, 12}, {19, 12}}));
}

TEST_F(RawDataTest, ReadFailuresThrowAndStop) {
    camera->setRawData(1052, pattern(1000));
    device.setResponder(
        std::make_shared<Tamper>(camera, [](const wire::Request& r, int nth, vxsim::Reply& reply) {
            if (r.opcode == wire::ReadData && nth == 1) reply = wire::okReply(r, {1, 2, 3});
        }));
    GetProgress got;
    EXPECT_THROW(vc::getRawData(device.handle(), 1052, got.callback(), 480), std::runtime_error);
    EXPECT_EQ(got.reports, (Reports{{0, 0}})) << "a short answer is not handed on";
    EXPECT_EQ(requests().back().first, wire::ReadData) << "no finish after a failure";
    EXPECT_THROW(vc::getRawData(device.handle(), 99, got.callback(), 480), std::runtime_error);
}
