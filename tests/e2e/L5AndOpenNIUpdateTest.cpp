// Firmware update of L5-family and OpenNI cameras through the exported C functions: where the
// image lands and in which packets, the states and messages, bootloader mode, the refusals and
// the retry rules.
#include <gmock/gmock.h>

#include <functional>

#include "firmware/L5FirmwareParser.h"
#include "support/Catalog.h"

using namespace libvxsensor;

namespace wire = vxsim::wire;
using vxsim::Fault;
using vxsim::FaultRule;

const char* const kDone = "Update successfully! Please reboot your device manually!";

class L5AndOpenNIUpdateTest : public CatalogTest {};

TEST_F(L5AndOpenNIUpdateTest, L5ImageLandsWithItsStatesAndMessages) {
    auto cam = vxsim::makeCamera("l5");
    const std::vector<uint8_t> file = L5ImageWriter().write();
    UpgradeRecorder r;
    update(*cam, file, r);
    const std::vector<UpgradeReport> expected{
        {4, "Firmware data transferring!", 51}, {4, "Firmware data transferring!", 100},
        {0, "Firmware data verifying!", 51},    {0, "Firmware data verifying!", 100},
        {5, "Firmware data verify done!", 100}, {3, kDone, 100}};
    EXPECT_EQ(r.reports, expected);
    EXPECT_EQ(r.error, nullptr);
    EXPECT_TRUE(inFlash(*cam, 0, file)) << "trailer included";
}

// The caller's buffer is theirs during the update too: what lands is what was passed in.
TEST_F(L5AndOpenNIUpdateTest, ImageInMemoryIsCopiedBeforeUse) {
    auto cam = vxsim::makeCamera("l5");
    const std::vector<uint8_t> file = L5ImageWriter().write();
    struct Scribbler : UpgradeRecorder {
        std::vector<uint8_t> buffer;
    } r;
    r.buffer = file;
    vx_device_update_firmware_from_raw_data_ext(
        cam->handle(), r.buffer.data(), static_cast<uint32_t>(r.buffer.size()),
        [](VXUpgradeState state, const char* message, uint8_t percent, void* self) {
            auto* s = static_cast<Scribbler*>(self);
            std::fill(s->buffer.begin(), s->buffer.end(), 0x00);
            UpgradeRecorder::record(state, message, percent, self);
        },
        false, &r, &r.error);
    EXPECT_EQ(r.last(), (UpgradeReport{3, kDone, 100}));
    EXPECT_TRUE(inFlash(*cam, 0, file));

    UpgradeRecorder refused;
    vx_device_update_firmware_from_raw_data_ext(cam->handle(), nullptr, 16, UpgradeRecorder::record,
                                                false, &refused, &refused.error);
    EXPECT_EQ(std::get<0>(refused.last()), -6);
    refused.expectError("Firmware data is null but its size is not 0",
                        "vx_device_update_firmware_from_raw_data_ext", 1);
}

TEST_F(L5AndOpenNIUpdateTest, ImagesLandAtTheirAddressInTheFamilysPackets) {
    const struct {
        const char* camera;
        std::vector<uint8_t> file;
        uint32_t address;
        size_t packet;
    } cases[] = {
        {"pellin3", L5ImageWriter().pid(0x0660).size(0x30000).write(), 0x20000, 768},
        {"lumex470", L5ImageWriter().pid(0x0808).size(0x50000).write(), 0x10000, 768},
        // Bootloaders: the real product comes from the save info, at either offset.
        {"l5,boot", L5ImageWriter().pid(0x0670).write(), 0, 256},
        {"l5s,boot,saveinfo=fallback", L5ImageWriter().pid(0x0673).write(), 0, 256},
        {"openni", bytes(0x20000, 5), 0x20000, 64},
        {"openni,boot", bytes(0x30000, 9), 0x10000, 64},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.camera);
        auto cam = vxsim::makeCamera(c.camera);
        UpgradeRecorder r;
        update(*cam, c.file, r);
        EXPECT_TRUE(r.failures().empty());
        EXPECT_EQ(r.last(), (UpgradeReport{3, kDone, 100}));
        EXPECT_EQ(r.error, nullptr);
        EXPECT_TRUE(inFlash(*cam, c.address, c.file));
        EXPECT_EQ(largestWrite(*cam), c.packet);
    }
}

TEST_F(L5AndOpenNIUpdateTest, RefusalsReportStateMessageAndErrorAndWriteNothing) {
    const auto noSaveInfo = [](vxsim::EmulatedCamera& cam) {
        cam.camera().writeFlashDirect(vxsim::kSaveInfoOffset, std::vector<uint8_t>(56, 0xFF));
    };
    const struct {
        const char* camera;
        std::vector<uint8_t> file;
        int state;
        std::string message;
        std::function<void(vxsim::EmulatedCamera&)> prepare;
    } cases[] = {
        // Only a bootloader names the model; the number quoted is the file's.
        {"l5",
         L5ImageWriter().pid(0x0660).write(),
         -9,
         "Invalid input file!\nFirmware mismatch for  : unmatched pid 1632",
         {}},
        {"l5s,boot",
         L5ImageWriter().pid(0x0670).write(),
         -9,
         "Invalid input file!\nFirmware mismatch for Lumex 5 S : unmatched pid 1648",
         {}},
        {"l5,boot", L5ImageWriter().write(), -10, "Cannot get pid from bootloader mode.",
         noSaveInfo},
        {"l5",
         L5ImageWriter().pid(0x0660).size(0x10001).write(),
         -9,
         "Invalid input file!\nFirmware mismatch for  : unmatched pid 1632",
         {}},
        {"pellin3",
         L5ImageWriter().pid(0x0660).size(0x10001).write(),
         -9,
         "Invalid input file: invalid size",
         {}},
        {"lumex470",
         L5ImageWriter().pid(0x0808).magic(0).write(),
         -9,
         "Invalid input file: invalid magic",
         {}},
        {"openni", bytes(0x30001, 1), -9, "Invalid input file: Invalid firmware size.", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message);
        auto cam = vxsim::makeCamera(c.camera);
        if (c.prepare) c.prepare(*cam);
        UpgradeRecorder r;
        update(*cam, c.file, r);
        EXPECT_EQ(r.reports, (std::vector<UpgradeReport>{{c.state, c.message, 0}}));
        r.expectError(c.message, "vx_device_update_firmware_from_raw_data_ext", 1);
        EXPECT_TRUE(requests(*cam, wire::EraseFlash).empty());
        EXPECT_TRUE(requests(*cam, wire::WriteFlash).empty());
    }
}

// A failure is kept, not reported, while attempts remain; after the fifth only the last one is
// reported, once, with percentage 0.
TEST_F(L5AndOpenNIUpdateTest, RetryRules) {
    constexpr uint32_t kOpenNIWrites = 0x20000 / 64;  // flash writes per attempt
    const struct {
        const char* name;
        const char* camera;
        std::vector<uint8_t> file;
        std::vector<FaultRule> faults;
        std::vector<UpgradeReport> failures;
        size_t attempts;
    } cases[] = {
        {"l5: verify, then transfer failure, then success",
         "l5",
         L5ImageWriter().write(),
         {FaultRule::onOpcode(wire::ReadFlash, 0, Fault::bitFlip(3)),
          FaultRule::onOpcode(wire::WriteFlash, 2, Fault::transportError())},
         {},
         3},
        {"openni: verify, then transfer failure, then success",
         "openni",
         bytes(0x20000, 7),
         {FaultRule::onOpcode(wire::ReadFlash, 0, Fault::bitFlip(3)),
          FaultRule::onOpcode(wire::WriteFlash, kOpenNIWrites + 5, Fault::transportError())},
         {},
         3},
        {"l5: four verify failures, then a transfer failure",
         "l5",
         L5ImageWriter().write(),
         {FaultRule::onOpcode(wire::ReadFlash, Fault::bitFlip(3)),
          FaultRule::onOpcode(wire::WriteFlash, 8, Fault::deviceError(9))},
         {{-13, "Firmware data transfer failed!", 0}},
         5},
        {"openni: four transfer failures, then a verify failure",
         "openni",
         bytes(0x20000, 7),
         {FaultRule::onOpcode(wire::EraseFlash, 0, Fault::deviceError(9)),
          FaultRule::onOpcode(wire::EraseFlash, 1, Fault::deviceError(9)),
          FaultRule::onOpcode(wire::EraseFlash, 2, Fault::deviceError(9)),
          FaultRule::onOpcode(wire::EraseFlash, 3, Fault::deviceError(9)),
          FaultRule::onOpcode(wire::ReadFlash, 0, Fault::bitFlip(3))},
         {{-1, "Firmware data verify failed!", 0}},
         5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto cam = vxsim::makeCamera(c.camera);
        for (const FaultRule& rule : c.faults) cam->faults().add(rule);
        UpgradeRecorder r;
        update(*cam, c.file, r);
        EXPECT_EQ(r.failures(), c.failures);
        EXPECT_EQ(r.last(),
                  (c.failures.empty() ? UpgradeReport{3, kDone, 100} : c.failures.back()));
        EXPECT_EQ(r.error, nullptr) << "reported, not thrown";
        EXPECT_EQ(requests(*cam, wire::EraseFlash).size(), c.attempts);
    }
}
