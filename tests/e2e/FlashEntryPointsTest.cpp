// Raw flash through the exported C functions against emulated cameras: the requests and progress
// of a write and a read, round trips on each link, every fault the emulator can inject, the
// L845Se clamp, and the entry points that must stay inert or only fill tables.
#include <gmock/gmock.h>

#include <random>
#include <tuple>

#include "support/Catalog.h"
#include "support/Progress.h"

using namespace libvxsensor;

namespace wire = vxsim::wire;
using vxsim::Fault;
using vxsim::FaultRule;

class FlashEntryPointsTest : public CatalogTest {
protected:
    static std::vector<uint8_t> randomImage(size_t size) {
        std::mt19937 rng(static_cast<unsigned>(size));
        std::vector<uint8_t> out(size);
        for (auto& b : out) b = static_cast<uint8_t>(rng());
        return out;
    }
    static Reports write(vxsim::EmulatedCamera& cam, uint32_t offset,
                         const std::vector<uint8_t>& image) {
        SetProgress progress;
        vx_device_write_flash(cam.handle(), offset, image.data(),
                              static_cast<uint32_t>(image.size()), SetProgress::record, false,
                              &progress);
        return progress.reports;
    }
    static GetProgress read(vxsim::EmulatedCamera& cam, uint32_t offset, uint32_t size) {
        GetProgress got;
        vx_device_read_flash(cam.handle(), offset, size, GetProgress::record, false, &got);
        return got;
    }
};

// 480-byte packets on USB 3.0: erase, three writes, finish, three reads compared one by one.
TEST_F(FlashEntryPointsTest, AWriteReportsEveryStepAndAReadItsChunks) {
    auto cam = vxsim::makeCamera("l840");
    const auto image = bytes(1000, 7);
    EXPECT_EQ(
        write(*cam, 0x20000, image),
        (Reports{{0, 48}, {0, 96}, {0, 100}, {1, 48}, {1, 96}, {1, 100}, {4, 100}, {2, 100}}));
    EXPECT_TRUE(inFlash(*cam, 0x20000, image));
    EXPECT_EQ(opcodes(*cam), (std::vector<int>{13, 14, 14, 14, 15, 25, 25, 25}));
    EXPECT_EQ(writeSizes(*cam), (std::vector<size_t>{480, 480, 40}));

    cam->device().clearExchanges();
    EXPECT_EQ(write(*cam, 0, {}), (Reports{{4, 100}, {2, 100}}));
    EXPECT_EQ(opcodes(*cam), (std::vector<int>{13, 15})) << "an empty write still erases";

    cam->device().clearExchanges();
    const GetProgress got = read(*cam, 0x20000 + 300, 700);
    EXPECT_EQ(got.reports, (Reports{{0, 0}, {0, 480}, {2, 700}}));
    EXPECT_EQ(got.sizes, (std::vector<uint32_t>{480, 220}));
    EXPECT_EQ(got.data, std::vector<uint8_t>(image.begin() + 300, image.end()));

    cam->device().clearExchanges();
    EXPECT_TRUE(read(*cam, 0, 0).reports.empty());
    EXPECT_TRUE(cam->device().exchanges().empty()) << "an empty read sends nothing";
}

TEST_F(FlashEntryPointsTest, WrittenImageReadsBackIdenticalOnEveryLink) {
    const std::pair<const char*, size_t> links[] = {
        {"l840", 480}, {"l840,conn=GMSL2", 232}, {"miromax", 560}, {"l845se,conn=Ethernet", 512}};
    const auto image = randomImage(65536 + 77);
    for (const auto& [description, chunk] : links) {
        SCOPED_TRACE(description);
        auto cam = vxsim::makeCamera(description);
        const Reports reports = write(*cam, 0x100000, image);
        ASSERT_FALSE(reports.empty());
        EXPECT_EQ(reports.back(), (Report{2, 100}));
        EXPECT_EQ(reports[reports.size() - 2], (Report{4, 100}));
        EXPECT_EQ(largestWrite(*cam), chunk);

        const GetProgress got = read(*cam, 0x100000, static_cast<uint32_t>(image.size()));
        EXPECT_EQ(got.data, image);
        EXPECT_EQ(got.reports.back(), (Report{2, static_cast<int>(image.size())}));
    }
}

TEST_F(FlashEntryPointsTest, NullCallbacksAreAccepted) {
    auto cam = vxsim::makeCamera("l840");
    const auto image = randomImage(3000);
    vx_device_write_flash(cam->handle(), 0x2000, image.data(), 3000, nullptr, false, nullptr);
    EXPECT_TRUE(inFlash(*cam, 0x2000, image));
    vx_device_read_flash(cam->handle(), 0x2000, 3000, nullptr, false, nullptr);
    EXPECT_GT(cam->device().exchanges().size(), 7u);

    // The boundary always hands the flash layer a callable wrapper, so a caller who passed no
    // callback is not surprised by std::bad_function_call.
    cam->faults().add(FaultRule::onOpcode(wire::ReadFlash, Fault::transportError()));
    EXPECT_NO_THROW(vx_device_read_flash(cam->handle(), 0, 100, nullptr, false, nullptr));
    EXPECT_EQ(cam->faults().injected(), 1u);
}

// Every fault kind, injected into the third write of a flash write, or its first read-back. A
// failed write is reported once and is the last request sent.
TEST_F(FlashEntryPointsTest, EachFaultEndsInItsProgressState) {
    const std::tuple<const char*, uint16_t, Fault, Report, bool> cases[] = {
        {"transport error", wire::WriteFlash, Fault::transportError(), {-3, 0}, false},
        {"stale id, retried", wire::WriteFlash, Fault::staleRequestId(), {2, 100}, true},
        {"busy, retried", wire::WriteFlash, Fault::busy(), {2, 100}, true},
        {"device error", wire::WriteFlash, Fault::deviceError(9), {-3, 0}, false},
        {"device warning", wire::WriteFlash, Fault::deviceWarning(0x8002), {-3, 0}, false},
        {"bad magic", wire::WriteFlash, Fault::badMagic(), {-3, 0}, false},
        {"truncated", wire::WriteFlash, Fault::truncate(6), {-3, 0}, false},
        {"body longer than declared", wire::WriteFlash, Fault::overlongBody(), {2, 100}, true},
        {"length beyond the buffer", wire::WriteFlash, Fault::overlongLength(), {-3, 0}, false},
        {"bit flip in read-back", wire::ReadFlash, Fault::bitFlip(13), {-4, 0}, true},
        {"device gone", wire::WriteFlash, Fault::disappear(), {-3, 0}, false},
    };
    const auto image = randomImage(5000);
    for (const auto& [name, opcode, fault, last, imageInFlash] : cases) {
        SCOPED_TRACE(name);
        auto cam = vxsim::makeCamera("l840");
        const uint64_t nth = opcode == wire::ReadFlash ? 0 : 2;
        cam->faults().add(FaultRule::onOpcode(opcode, nth, fault));
        const Reports reports = write(*cam, 0x40000, image);
        ASSERT_FALSE(reports.empty());
        EXPECT_EQ(reports.back(), last);
        EXPECT_EQ(std::count_if(reports.begin(), reports.end(),
                                [](const Report& r) { return r.first < 0 && r.second == 0; }),
                  last.first < 0 ? 1 : 0)
            << "a failure is reported once";
        EXPECT_EQ(inFlash(*cam, 0x40000, image), imageInFlash);
        EXPECT_EQ(cam->faults().injected(), 1u);
        if (last.first == -3) {
            EXPECT_EQ(cam->device().exchanges().size(), 4u) << "nothing after the failed write";
        }
    }
}

// Verification reads to the end, so the caller sees how far the damage reaches.
TEST_F(FlashEntryPointsTest, FailuresStopWhereTheyHappen) {
    const auto image = bytes(1000, 7);
    auto differs = vxsim::makeCamera("l840");
    differs->faults().add(FaultRule::onOpcode(wire::ReadFlash, 1, Fault::bitFlip(17 * 8)));
    EXPECT_EQ(write(*differs, 0, image),
              (Reports{{0, 48}, {0, 96}, {0, 100}, {1, 48}, {-4, 96}, {1, 52}, {-4, 0}}));

    auto refuses = vxsim::makeCamera("l840");
    refuses->faults().add(FaultRule::onOpcode(wire::WriteFlash, 1, Fault::deviceError(9)));
    EXPECT_EQ(write(*refuses, 0, image), (Reports{{0, 48}, {-3, 0}}));
    EXPECT_EQ(opcodes(*refuses), (std::vector<int>{13, 14, 14}));

    // A short read answer is a failure too, never stale data handed on.
    for (const bool shortAnswered : {true, false}) {
        auto cam = vxsim::makeCamera("l840");
        if (shortAnswered) {
            shortAnswer(*cam, wire::ReadFlash, 1);
        } else {
            cam->faults().add(FaultRule::onOpcode(wire::ReadFlash, 1, Fault::transportError()));
        }
        EXPECT_EQ(read(*cam, 0, 1000).reports, (Reports{{0, 0}, {-3, 480}})) << shortAnswered;
    }
}

TEST_F(FlashEntryPointsTest, DeviceInfoDataRefusalsLeaveTheTablesAlone) {
    const uint8_t record[] = {0x6E, 0x3A, 0x00, 0x08};
    const std::tuple<uint16_t, const uint8_t*, uint32_t, const char*> cases[] = {
        {0, nullptr, 4, "Failed to set device info data"},
        {0, record, 0, "Failed to set device info data"},
        {5, nullptr, 68, "Failed to set device info data"},
        {5, record, 0, "Failed to set device info data"},
        {1, record, 4, "Unknown device group type"},
        {7, record, 4, "Unknown device group type"},
        {0xFFFF, record, 4, "Unknown device group type"}};
    const auto names = libvxsensor::getDeviceInfoEntryVector(5)->size();
    for (const auto& [group, data, size, message] : cases) {
        vx_error* error = nullptr;
        vx_set_device_info_data(group, data, size, &error);
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(vx_error_get_message(error), message);
        EXPECT_STREQ(vx_error_get_function(error), "vx_set_device_info_data");
        EXPECT_EQ(vxsim::errorExceptionType(error), 4);
        EXPECT_EQ(vxsim::errorStatus(error), 1);
        vx_delete_error(error);
    }
    EXPECT_TRUE(libvxsensor::isInGroup(libvxsensor::DeviceGroup::L840Series, {0x3A6E, 0x0800}));
    EXPECT_EQ(libvxsensor::getDeviceInfoEntryVector(5)->size(), names);
}

TEST_F(FlashEntryPointsTest, RegisterEntryPointsAreInertAndTheCommitIsConstant) {
    uint32_t value = 0xCAFEF00D;
    vx_error* error = nullptr;
    vx_device_read_ahb(nullptr, 1, 2, &value, &error);
    vx_device_read_i2c(nullptr, 1, 2, 3, &value, &error);
    vx_device_write_ahb(nullptr, 1, 2, 3, &error);
    vx_device_write_i2c(nullptr, 1, 2, 3, 4, &error);
    EXPECT_EQ(value, 0xCAFEF00Du);
    EXPECT_EQ(error, nullptr);
    EXPECT_STREQ(vx_get_commit_hash(), "4f2a7c1");
}
