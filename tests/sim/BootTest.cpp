// The boot model: what a camera boots after a power cut, from the writes it finished or did not,
// what a self-installing camera keeps of an install that lost its power, and the boot state's
// round trip through state-file records. The writes are the library's own, through its exported
// entry points, cut where the case says.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "support/SimTest.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Boot.h"
#include "vxsim/Clock.h"
#include "vxsim/Install.h"

namespace {

using vxsim::StateRecord;

// Writes 4 KiB at `at` through the library; the last state it reported.
int writeFlash(vxsim::EmulatedCamera& cam, uint32_t at) {
    const std::vector<uint8_t> data = bytes(4096, 7);
    int last = 0;
    vx_device_write_flash(
        cam.handle(), at, data.data(), 4096,
        [](VXDataTranState s, uint8_t, void* user) { *static_cast<int*>(user) = s; }, false, &last);
    return last;
}

using BootTest = SimTest;

TEST_F(BootTest, ACameraBootsItsFirmwareOnlyWhenEveryWriteThereWasFinishedAndIsIntact) {
    struct Case {
        const char* camera;
        uint32_t at;        // where 4 KiB are written; 0: nothing is
        uint64_t cutAfter;  // 0: no cut
        bool spoil;         // a byte of the finished write changes afterwards
        uint16_t pid;       // what the camera reports after a reboot
    };
    const Case cases[] = {
        {"l840", 0x100000, 0, false, 0x0800}, {"l840", 0x100000, 1, false, 0x0501},
        {"l840", 0x100000, 0, true, 0x0501},  {"l840", 0x7F0000, 1, false, 0x0800},
        {"l840-boot", 0, 0, false, 0x0501},   {"l840-boot", 0x100000, 0, false, 0x0800},
        {"l5", 0x10000, 2, false, 0x0501},    {"openni", 0x20000, 1, false, 0x0400},
        {"l815", 0x100000, 1, false, 0x0840}, {"miromax", 0x100000, 1, false, 0x0669},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.camera) + " at " + std::to_string(c.at) + " cut after " +
                     std::to_string(c.cutAfter));
        auto cam = vxsim::makeCamera(c.camera);
        if (c.cutAfter != 0) cam->cutPowerAfter(c.cutAfter);
        if (c.at != 0) {
            EXPECT_EQ(writeFlash(*cam, c.at), c.cutAfter != 0 ? -3 : 2);
        }
        if (c.spoil) cam->camera().writeFlashDirect(c.at + 100, {0x00});
        cam->reboot();
        EXPECT_EQ(cam->device().identity().pid, c.pid);
        EXPECT_EQ(cam->bootloader(), c.pid == cam->model().bootloaderPid);
        // The bootloader finds the identity the firmware left for it, as the library reads it.
        std::vector<uint8_t> probe;
        EXPECT_EQ(cam->camera().structuredData(vxsim::kBootloaderInfoId, probe),
                  cam->bootloader() && cam->model().family == vxsim::Family::L840);
        if (cam->model().family == vxsim::Family::L840) {
            EXPECT_EQ(cam->camera().flash()[vxsim::kSaveInfoOffset + 35], cam->model().pid >> 8);
        }
    }
}

TEST_F(BootTest, WithoutPowerTheCameraAnswersNothingUntilItIsRebooted) {
    auto cam = vxsim::makeCamera("l840-boot");
    cam->cutPowerAfter(1);
    EXPECT_EQ(writeFlash(*cam, 0x100000), -3);
    EXPECT_EQ(cam->camera().counters().requests, 1u);
    std::vector<uint8_t> out;
    EXPECT_FALSE(cam->boot().structuredData(vxsim::kBootloaderInfoId, out));
    cam->reboot();
    EXPECT_EQ(writeFlash(*cam, 0x100000), 2);
}

// An image of the computing-power board: installed without any product check.
TEST_F(BootTest, AnInstallThatLosesItsPowerLeavesThePreviousImageAndSaysSoAtTheNextBoot) {
    std::vector<uint8_t> image{'O', 'T', 'R', 'A'};
    image.resize(3000, 0x42);
    // START, WRITE, FINISH, then status reads: started, 50 %, done.
    vxsim::setVirtualTime(true);
    for (const uint64_t cut : {3u, 5u, 6u}) {
        SCOPED_TRACE(cut);
        auto cam = vxsim::makeCamera("l5pro");
        cam->cutPowerAfter(cut);
        vx_error* error = nullptr;
        vx_device_update_firmware_from_raw_data_ext(
            cam->handle(), image.data(), 3000, [](VXUpgradeState, const char*, uint8_t, void*) {},
            false, nullptr, &error);
        vx_delete_error(error);
        cam->reboot();
        const bool installed = cut == 6;
        EXPECT_EQ(cam->boot().state().installed.size, installed ? 3000u : 0u);
        EXPECT_EQ(
            vxsim::installedImageText(*cam).find("installed image 3000 bytes") != std::string::npos,
            installed);
        EXPECT_EQ(cam->boot().state().installCutShort, !installed);
    }
}

TEST_F(BootTest, TheBootStateSurvivesItsStateRecordsAndDamagedOnesAreRefused) {
    auto cam = vxsim::makeCamera("l840");
    EXPECT_EQ(writeFlash(*cam, 0x200000), 2);
    cam->cutPowerAfter(1);
    EXPECT_EQ(writeFlash(*cam, 0x100000), -3);
    const std::vector<StateRecord> records = vxsim::bootStateRecords(*cam);
    auto copy = vxsim::makeCamera("l840");
    for (const StateRecord& r : records) EXPECT_TRUE(vxsim::takeBootStateRecord(*copy, r));
    EXPECT_TRUE(copy->boot().state().powerLost);
    EXPECT_EQ(vxsim::bootStateRecords(*copy).size(), 3u);
    copy->camera().writeFlashDirect(0x200000, bytes(4096, 7));
    copy->reboot();
    EXPECT_TRUE(copy->bootloader());  // the unfinished write at 0x100000

    const std::vector<StateRecord> damaged{
        {'W', 0x100000, {1, 2, 3}},
        {'W', 0xFFFFF000, {0, 0x20, 0, 0, 0, 0, 0, 0, 1}},
        {'B', 0, {0x10, 0, 0, 0, 0, 0, 0, 0, 0}},
    };
    for (const StateRecord& r : damaged) {
        EXPECT_THROW(vxsim::takeBootStateRecord(*copy, r), std::invalid_argument);
    }
    // A bootloader the model does not have.
    EXPECT_THROW(vxsim::takeBootStateRecord(*vxsim::makeCamera("l815"),
                                            {'B', 0, {1, 0, 0, 0, 0, 0, 0, 0, 0}}),
                 std::invalid_argument);
    EXPECT_FALSE(vxsim::takeBootStateRecord(*copy, {'F', 0, {}}));
}

}  // namespace
