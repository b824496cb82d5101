// Raw flash through the exported C functions against emulated cameras: round trips on each
// link, every fault the emulator can inject, the L845Se clamp, and the entry points that must
// stay inert or only fill tables.
#include <gmock/gmock.h>

#include <random>

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
    Reports write(vxsim::EmulatedCamera& cam, uint32_t offset, const std::vector<uint8_t>& image) {
        SetProgress progress;
        vx_device_write_flash(cam.handle(), offset, image.data(),
                              static_cast<uint32_t>(image.size()), SetProgress::record, false,
                              &progress);
        return progress.reports;
    }
};

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

        GetProgress got;
        vx_device_read_flash(cam->handle(), 0x100000, static_cast<uint32_t>(image.size()),
                             GetProgress::record, false, &got);
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
}

// Every fault kind, injected into the third write of a flash write, or its first read-back.
TEST_F(FlashEntryPointsTest, EachFaultEndsInItsProgressState) {
    struct Case {
        const char* name;
        uint16_t opcode;
        Fault fault;
        Report last;
        bool imageInFlash;
    };
    const Case cases[] = {
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
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto cam = vxsim::makeCamera("l840");
        const uint64_t nth = c.opcode == wire::ReadFlash ? 0 : 2;
        cam->faults().add(FaultRule::onOpcode(c.opcode, nth, c.fault));
        const Reports reports = write(*cam, 0x40000, image);
        ASSERT_FALSE(reports.empty());
        EXPECT_EQ(reports.back(), c.last);
        EXPECT_EQ(std::count_if(reports.begin(), reports.end(),
                                [](const Report& r) { return r.first < 0 && r.second == 0; }),
                  c.last.first < 0 ? 1 : 0)
            << "a failure is reported once";
        EXPECT_EQ(inFlash(*cam, 0x40000, image), c.imageInFlash);
        EXPECT_EQ(cam->faults().injected(), 1u);
    }
}

TEST_F(FlashEntryPointsTest, ReadFailureWithoutACallbackStaysInsideTheBoundary) {
    // The boundary always hands the flash layer a callable wrapper, so a caller who passed no
    // callback is not surprised by std::bad_function_call.
    auto cam = vxsim::makeCamera("l840");
    cam->faults().add(FaultRule::onOpcode(wire::ReadFlash, Fault::transportError()));
    EXPECT_NO_THROW(vx_device_read_flash(cam->handle(), 0, 100, nullptr, false, nullptr));
    EXPECT_EQ(cam->faults().injected(), 1u);
}

TEST_F(FlashEntryPointsTest, DeviceInfoDataRefusalsLeaveTheTablesAlone) {
    const uint8_t record[] = {0x6E, 0x3A, 0x00, 0x08};
    struct Case {
        uint16_t group;
        const uint8_t* data;
        uint32_t size;
        const char* message;
    };
    const Case cases[] = {{0, nullptr, 4, "Failed to set device info data"},
                          {0, record, 0, "Failed to set device info data"},
                          {5, nullptr, 68, "Failed to set device info data"},
                          {5, record, 0, "Failed to set device info data"},
                          {1, record, 4, "Unknown device group type"},
                          {7, record, 4, "Unknown device group type"},
                          {0xFFFF, record, 4, "Unknown device group type"}};
    const auto names = libvxsensor::getDeviceInfoEntryVector(5)->size();
    for (const Case& c : cases) {
        vx_error* error = nullptr;
        vx_set_device_info_data(c.group, c.data, c.size, &error);
        ASSERT_NE(error, nullptr);
        EXPECT_STREQ(vx_error_get_message(error), c.message);
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
