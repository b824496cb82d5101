// Firmware update through the exported functions, every family: what lands where and in which
// packets, the states and messages, bootloader mode, the cameras' own installs, and the retry
// and poll rules. The refusals are in RefusalsTest.
#include <algorithm>
#include <tuple>

#include "firmware/L5FirmwareParser.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "support/Catalog.h"
#include "vxsim/Install.h"

using namespace libvxsensor;

namespace wire = vxsim::wire;
using vxsim::Fault;
using vxsim::FaultRule;
using vxsim::InstallScript;
using Reports = std::vector<UpgradeReport>;
using C = L840ContainerWriter;
using R = L840RecordWriter;

namespace {

std::vector<uint32_t> g_sleeps;
void recordSleep(uint32_t ms) {
    g_sleeps.push_back(ms);
}
// Pauses other than the 500 ms install polls, which are the retries' own.
std::vector<uint32_t> retryPauses() {
    std::vector<uint32_t> out;
    std::copy_if(g_sleeps.begin(), g_sleeps.end(), std::back_inserter(out),
                 [](uint32_t ms) { return ms != 500; });
    return out;
}

const char* const kDone = "Update successfully! Please reboot your device manually!";
const char* const kTransferring = "Firmware data transferring!";
const char* const kTransferDone = "Firmware data transfer done!";
const char* const kTransferFailed = "Firmware data transfer failed!";
const UpgradeReport kUpdated{3, kDone, 100};
const UpgradeReport kInstalled{3, "Upgrade success", 100};

Reports lastReports(const Reports& reports, size_t n) {
    return Reports(reports.end() - static_cast<std::ptrdiff_t>(std::min(n, reports.size())),
                   reports.end());
}

// Three full 8152-byte packets: 64-byte header, 128-byte record header, 24264 data bytes.
std::vector<uint8_t> l5proImage(uint16_t pid = 0x0671) {
    return C().component(R().data(bytes(24264, 7)).pids({pid})).write();
}
// `size` counting bytes that start with `prefix`.
std::vector<uint8_t> prefixed(size_t size, const std::string& prefix) {
    std::vector<uint8_t> out = bytes(size, 7);
    std::copy(prefix.begin(), prefix.end(), out.begin());
    return out;
}

}  // namespace

class FirmwareUpdateTest : public CatalogTest {
protected:
    void SetUp() override {
        CatalogTest::SetUp();
        g_sleeps.clear();
        libvxsensor::setSleepHook(recordSleep);
    }
    void TearDown() override {
        EXPECT_TRUE(retryPauses().empty()) << "only retries pause, besides the install polls";
        CatalogTest::TearDown();
    }
    // An update of `file` on a fresh catalog camera that installs by `script`, if it installs.
    static std::unique_ptr<vxsim::EmulatedCamera> run(const char* camera,
                                                      const std::vector<uint8_t>& file,
                                                      UpgradeRecorder& r,
                                                      const InstallScript* script = nullptr) {
        auto cam = vxsim::makeCamera(camera);
        if (script != nullptr) vxsim::setInstallScript(*cam, *script);
        g_sleeps.clear();
        update(*cam, file, r);
        return cam;
    }
    static size_t pollPauses() { return g_sleeps.size() - retryPauses().size(); }

    const std::vector<uint8_t> boot = bytes(600, 1);
    const std::vector<uint8_t> main_ = bytes(1500, 9);
};

TEST_F(FirmwareUpdateTest, L840ComponentsLandInFlashWithTheirMessages) {
    UpgradeRecorder r;
    const auto cam = run("l840", bootAndMain(), r);
    const Reports expected{{4, "The boot firmware data transferring!", 80},
                           {4, "The boot firmware data transferring!", 100},
                           {0, "The boot firmware data verifying!", 80},
                           {0, "The boot firmware data verifying!", 100},
                           {5, "The boot firmware data verify done!", 100},
                           {4, "The boot firmware update done!", 100},
                           {4, "The main firmware data transferring!", 32},
                           {4, "The main firmware data transferring!", 64},
                           {4, "The main firmware data transferring!", 96},
                           {4, "The main firmware data transferring!", 100},
                           {0, "The main firmware data verifying!", 32},
                           {0, "The main firmware data verifying!", 64},
                           {0, "The main firmware data verifying!", 96},
                           {0, "The main firmware data verifying!", 100},
                           {5, "The main firmware data verify done!", 100},
                           kUpdated};
    EXPECT_EQ(r.reports, expected);
    EXPECT_EQ(r.error, nullptr);
    EXPECT_TRUE(inFlash(*cam, 0x10000, boot));
    EXPECT_TRUE(inFlash(*cam, 0x100000, main_));
}

// Only what will be written is judged by its write size: a component meant for another product,
// or the ISP firmware the camera already runs, is never read, so it cannot refuse the file.
TEST_F(FirmwareUpdateTest, L840WritesWhatIsTheCamerasAndSkipsTheRest) {
    const UpgradeReport firstStage{7,
                                   "Firmware update completed! Please manually reboot your "
                                   "device, then perform the update again to finish",
                                   100};
    const std::tuple<const char*, std::vector<uint8_t>, UpgradeReport> cases[] = {
        {"l840,isp=2.0.1",
         C().serial("Lumex 840")
             .component(R().pids({0x0999}).writeSize(5000))
             .component(R().address(0x500000).version("2.0.1").writeSize(9))
             .component(R().address(0x10000).data(boot))
             .write(),
         kUpdated},
        // A last component that does not fit after one that was written.
        {"l840",
         C().serial("Lumex 840")
             .component(R().address(0x10000).data(boot))
             .component(R().pids({0x0999}))
             .write(),
         kUpdated},
        // The L845Se takes firmware from the cut-off date on.
        {"l845se", C().date("20250408").component(R().address(0x10000).data(boot)).write(),
         kUpdated},
        {"l840,boot",
         C().serial("Lumex 840").component(R().address(0x10000).data(boot).pids({0x0800})).write(),
         firstStage},
    };
    for (const auto& [camera, file, last] : cases) {
        UpgradeRecorder r;
        const auto cam = run(camera, file, r);
        EXPECT_EQ(r.last(), last) << camera;
        EXPECT_TRUE(inFlash(*cam, 0x10000, boot)) << camera;
    }
}

TEST_F(FirmwareUpdateTest, L840IspComponentsAreSkippedWhenCurrentAndOtherwiseCrcChecked) {
    UpgradeRecorder r;
    const auto cam =
        run("l840,isp=2.0.1",
            C().serial("Lumex 840")
                .component(R().name("isp").address(0x580000).version("2.0.2").data(boot))
                .component(R().name("isp2").address(0x500000).version("2.0.1").data(main_))
                .write(),
            r);
    EXPECT_EQ(r.last(), kUpdated);
    EXPECT_TRUE(inFlash(*cam, 0x580000, boot));
    EXPECT_EQ(cam->camera().flash()[0x500000], 0xFF)
        << "the version the device runs is not written";
    EXPECT_EQ(cam->camera().counters().crcChecks, 1u);
    EXPECT_EQ(cam->camera().counters().flashBytesRead, 0u) << "CRC instead of read-back";
}

TEST_F(FirmwareUpdateTest, FromAFile) {
    auto cam = vxsim::makeCamera("l840");
    const TempFile file("l840-update.bin",
                        C().serial("Lumex 840").component(R().data(boot)).write());
    UpgradeRecorder r;
    vx_device_update_firmware_ext(cam->handle(), file.path.c_str(), UpgradeRecorder::record, false,
                                  &r, &r.error);
    EXPECT_EQ(r.last(), kUpdated);
    EXPECT_EQ(r.error, nullptr);
}

// A failure is kept, not reported, while attempts remain; after the fifth only the last one is
// reported, once, with percentage 0. Only KovraA cameras pause between attempts.
TEST_F(FirmwareUpdateTest, RetryRules) {
    struct Retry {
        const char* camera;
        std::vector<uint8_t> file;
        std::vector<FaultRule> faults;
        Reports failures;  // none: the update ends well
        size_t attempts;   // transfers begun
        std::vector<uint32_t> pauses;
    };
    const auto retry = [](const char* camera, std::vector<uint8_t> file,
                          std::vector<FaultRule> faults, Reports failures, size_t attempts,
                          std::vector<uint32_t> pauses = {}) {
        return Retry{camera,   std::move(file),  std::move(faults), std::move(failures),
                     attempts, std::move(pauses)};
    };
    const auto on = [](uint16_t opcode, uint64_t n, Fault fault) {
        return FaultRule::onOpcode(opcode, n, fault);
    };
    const auto always = [](uint16_t opcode, Fault fault) {
        return FaultRule::onOpcode(opcode, fault);
    };
    const Fault flip = Fault::bitFlip(3), lost = Fault::transportError(),
                refused = Fault::deviceError(9);
    constexpr uint32_t kOpenNIWrites = 0x20000 / 64;  // flash writes per attempt
    const Retry cases[] = {
        // A verify failure, then a transfer failure, then success.
        retry("l5", L5ImageWriter().write(),
              {on(wire::ReadFlash, 0, flip), on(wire::WriteFlash, 2, lost)}, {}, 3),
        retry("openni", bytes(0x20000, 7),
              {on(wire::ReadFlash, 0, flip), on(wire::WriteFlash, kOpenNIWrites + 5, lost)}, {}, 3),
        retry("l840", C().serial("Lumex 840").component(R().data(main_)).write(),
              {on(wire::ReadFlash, 0, flip), on(wire::WriteFlash, 4, lost)}, {}, 3),
        retry("l5pro", l5proImage(),
              {on(wire::WriteData, 0, refused), on(wire::WriteData, 1, lost)}, {}, 3),
        // Four verify failures, then a transfer failure; four transfer failures, then a verify
        // failure: the last one is reported.
        retry("l5", L5ImageWriter().write(),
              {always(wire::ReadFlash, flip), on(wire::WriteFlash, 8, refused)},
              {{-13, kTransferFailed, 0}}, 5),
        retry("openni", bytes(0x20000, 7),
              {on(wire::EraseFlash, 0, refused), on(wire::EraseFlash, 1, refused),
               on(wire::EraseFlash, 2, refused), on(wire::EraseFlash, 3, refused),
               on(wire::ReadFlash, 0, flip)},
              {{-1, "Firmware data verify failed!", 0}}, 5),
        // A component failing five times ends the update; the next one is left alone.
        retry("l840", bootAndMain(), {always(wire::WriteFlash, refused)},
              {{-13, "The boot firmware data transfer failed!", 0}}, 5),
        retry("kovra-a", C().serial("Kovra A").component(R()).write(),
              {always(wire::EraseFlash, lost)},
              {{-13, "The main firmware data transfer failed!", 0}}, 5, {2000, 2000, 2000, 2000}),
        retry("l5pro", l5proImage(), {always(wire::WriteData, refused)},
              {{-13, kTransferFailed, 0}}, 5),
    };
    for (const Retry& c : cases) {
        SCOPED_TRACE(std::string(c.camera) + " " + std::to_string(c.faults.size()));
        auto cam = vxsim::makeCamera(c.camera);
        for (const FaultRule& rule : c.faults) cam->faults().add(rule);
        g_sleeps.clear();
        UpgradeRecorder r;
        update(*cam, c.file, r);
        EXPECT_EQ(r.failures(), c.failures);
        const bool l5pro = std::string(c.camera) == "l5pro";
        EXPECT_EQ(r.last(),
                  c.failures.empty() ? (l5pro ? kInstalled : kUpdated) : c.failures.back());
        EXPECT_EQ(r.error, nullptr) << "reported, not thrown";
        EXPECT_EQ(
            requests(*cam, wire::EraseFlash).size() + requests(*cam, wire::StartWriteData).size(),
            c.attempts);
        EXPECT_EQ(retryPauses(), c.pauses);
        g_sleeps.clear();
    }
}

TEST_F(FirmwareUpdateTest, L5AndOpenNIImagesLandAtTheirAddressInTheFamilysPackets) {
    const std::tuple<const char*, std::vector<uint8_t>, uint32_t, size_t> cases[] = {
        {"l5", L5ImageWriter().write(), 0, 768},  // trailer included
        {"pellin3", L5ImageWriter().pid(0x0660).size(0x30000).write(), 0x20000, 768},
        {"lumex470", L5ImageWriter().pid(0x0808).size(0x50000).write(), 0x10000, 768},
        // Bootloaders: the real product comes from the save info, at either offset.
        {"l5,boot", L5ImageWriter().pid(0x0670).write(), 0, 256},
        {"l5s,boot,saveinfo=fallback", L5ImageWriter().pid(0x0673).write(), 0, 256},
        {"openni", bytes(0x20000, 5), 0x20000, 64},
        {"openni,boot", bytes(0x30000, 9), 0x10000, 64},
    };
    for (const auto& [camera, file, address, packet] : cases) {
        SCOPED_TRACE(camera);
        UpgradeRecorder r;
        const auto cam = run(camera, file, r);
        EXPECT_TRUE(r.failures().empty());
        EXPECT_EQ(r.last(), kUpdated);
        EXPECT_EQ(r.error, nullptr);
        EXPECT_TRUE(inFlash(*cam, address, file));
        EXPECT_EQ(largestWrite(*cam), packet);
    }
    UpgradeRecorder r;
    run("l5", L5ImageWriter().write(), r);
    EXPECT_EQ(r.reports, (Reports{{4, kTransferring, 51},
                                  {4, kTransferring, 100},
                                  {0, "Firmware data verifying!", 51},
                                  {0, "Firmware data verifying!", 100},
                                  {5, "Firmware data verify done!", 100},
                                  kUpdated}));
}

// The caller's buffer is theirs during the update too: what lands is what was passed in.
TEST_F(FirmwareUpdateTest, ImageInMemoryIsCopiedBeforeUse) {
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
    EXPECT_EQ(r.last(), kUpdated);
    EXPECT_TRUE(inFlash(*cam, 0, file));

    UpgradeRecorder refused;
    vx_device_update_firmware_from_raw_data_ext(cam->handle(), nullptr, 16, UpgradeRecorder::record,
                                                false, &refused, &refused.error);
    EXPECT_EQ(std::get<0>(refused.last()), -6);
    refused.expectError("Firmware data is null but its size is not 0",
                        "vx_device_update_firmware_from_raw_data_ext", 1);
}

TEST_F(FirmwareUpdateTest, L5ProImageGoesOutInFullPacketsAndIsFollowedToTheEnd) {
    const auto image = l5proImage();
    const auto script = InstallScript().working(2).started().progress(40, "Writing flash").done();
    UpgradeRecorder r;
    const auto cam = run("l5pro", image, r, &script);
    EXPECT_EQ(r.reports, (Reports{{4, kTransferring, 33},
                                  {4, kTransferring, 66},
                                  {4, kTransferring, 100},
                                  {4, kTransferDone, 100},
                                  {2, "Writing flash", 40},
                                  kInstalled}));
    EXPECT_EQ(r.error, nullptr);
    EXPECT_EQ(pollPauses(), 3u) << "after each poll before the start and between reports";
    EXPECT_EQ(cam->camera().rawData(vxsim::kFirmwareImageId), image);
    for (const wire::Request& write : requests(*cam, wire::WriteData))
        EXPECT_EQ(write.payload.size(), 8u + 8152u);
}

TEST_F(FirmwareUpdateTest, TheCamerasVerdictIsPassedOnAndEndsTheUpdate) {
    struct Case {
        const char* camera;
        InstallScript script;
        Reports verdict;  // from the end of the transfer on
    };
    const UpgradeReport handedOver{2, "Firmware file data is in progress ...", 0};
    const Case cases[] = {
        {"l5pro",
         InstallScript().started().failed(-4, "Flash write error"),
         {{4, kTransferDone, 100}, {-4, "Flash write error", 0}}},
        {"miromax",
         InstallScript().started().failed(-4, "Checksum error"),
         {handedOver, {-4, "Checksum error", 0}}},
        {"miromax",
         InstallScript().started().status(9, 20, "Strange"),
         {handedOver, {-6, "Strange", 20}}},
        // However lying the camera, no percentage above 100 reaches the caller.
        {"miromax",
         InstallScript().started().status(1, 250, "Verifying").done(),
         {handedOver, {1, "Verifying", 100}, kInstalled}},
        {"l5pro",
         InstallScript().started().status(1, 178, "Installing").failed(-4, "Flash write error"),
         {{1, "Installing", 100}, {-4, "Flash write error", 0}}},
        {"l945se",
         InstallScript().started().status(1, 255, "Installing").failed(-4, "Flash write error"),
         {{1, "Installing", 100}, {-4, "Flash write error", 0}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::get<1>(c.verdict[1]));
        UpgradeRecorder r;
        const bool miroMax = std::string(c.camera) == "miromax";
        const uint16_t pid = vxsim::findModel(c.camera).pid;  // L945Se: the L5Pro updater's
        const auto cam =
            run(c.camera, miroMax ? MiroMaxPackageWriter().write() : l5proImage(pid), r, &c.script);
        EXPECT_EQ(lastReports(r.reports, c.verdict.size()), c.verdict);
        EXPECT_EQ(requests(*cam, wire::StartWriteData).size(), 1u)
            << "the camera's verdict is not retried";
        EXPECT_EQ(r.error, nullptr);
    }
}

TEST_F(FirmwareUpdateTest, L5ProImagesOfOtherKindsGoToTheirObjectAsTheyAre) {
    // Composite packages and board images carry no product ids; they are not container files.
    for (const auto& [camera, image] : {std::pair{"l5pro", prefixed(9000, "PK\3\4")},
                                        std::pair{"l945se", prefixed(9000, "OTRA")}}) {
        UpgradeRecorder r;
        const auto cam = run(camera, image, r);
        EXPECT_EQ(r.last(), kInstalled) << camera;
        EXPECT_EQ(cam->camera().rawData(vxsim::kFirmwareImageId), image);
    }
    // A preset package is sent once, and the camera is not followed.
    const auto package = prefixed(1000, "VXPRESET");
    UpgradeRecorder r;
    const auto cam = run("l5pro", package, r);
    EXPECT_EQ(r.reports, (Reports{{4, kTransferring, 100}, {4, kTransferDone, 100}}));
    EXPECT_EQ(cam->camera().rawData(vxsim::kPresetPackageId), package);
    EXPECT_TRUE(requests(*cam, wire::GetStructureData).empty());

    auto failing = vxsim::makeCamera("l5pro");
    failing->faults().add(FaultRule::onOpcode(wire::WriteData, Fault::deviceError(9)));
    UpgradeRecorder f;
    update(*failing, package, f);
    EXPECT_EQ(f.reports, (Reports{{-13, kTransferFailed, 0}}));
    EXPECT_EQ(requests(*failing, wire::StartWriteData).size(), 1u);
    EXPECT_TRUE(requests(*failing, wire::GetStructureData).empty());
}

// 1200 polls for the start, then 1200 for the end. L5Pro then leaves the rest to the camera in
// silence; MiroMax reports a timeout.
TEST_F(FirmwareUpdateTest, PollPhasesTimeOutThroughTheSleepSeam) {
    struct Case {
        const char* camera;
        InstallScript script;
        size_t pauses;
        UpgradeReport last;
    };
    const UpgradeReport timeout{-8, "wait for device upgrade timeout!", 0};
    const Case cases[] = {
        {"l5pro", InstallScript().working(1), 2400, {1, "Preparing", 0}},
        {"l5pro",
         InstallScript().started().progress(50, "Installing"),
         1200,
         {2, "Installing", 50}},
        {"miromax", InstallScript().working(1), 2400, timeout},
        {"miromax", InstallScript().started().progress(50, "Installing"), 1200, timeout},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.camera) + " " + std::to_string(c.pauses));
        UpgradeRecorder r;
        const bool miroMax = std::string(c.camera) == "miromax";
        const auto cam =
            run(c.camera, miroMax ? MiroMaxPackageWriter().write() : l5proImage(), r, &c.script);
        EXPECT_EQ(pollPauses(), c.pauses);
        EXPECT_EQ(r.last(), c.last);
        EXPECT_EQ(r.failures().size(), miroMax ? 1u : 0u);
        EXPECT_EQ(requests(*cam, wire::StartWriteData).size(), 1u);
    }
}

TEST_F(FirmwareUpdateTest, MiroMaxPackageIsStreamedInChunksWithThrottledProgress) {
    // 40 full chunks and an odd last one of 101 bytes.
    const auto package = MiroMaxPackageWriter().payload(bytes(40 * 8152 + 101 - 256, 7)).write();
    const auto script = InstallScript().working(1).started().done();
    UpgradeRecorder r;
    const auto cam = run("miromax", package, r, &script);
    ASSERT_GE(r.reports.size(), 3u);
    EXPECT_EQ(r.reports.front(), (UpgradeReport{4, "Start to transfer firmware file data", 0}));
    std::vector<int> percents;
    for (const auto& [state, message, percent] : r.reports)
        if (message == "Firmware file data transferring ...") percents.push_back(percent);
    ASSERT_FALSE(percents.empty());
    EXPECT_EQ(percents.front(), 2) << "the first chunk is reported at once";
    EXPECT_EQ(percents.back(), 100);
    EXPECT_LT(percents.size(), 10u) << "reports are throttled to one per half second";
    EXPECT_EQ(r.last(), kInstalled);

    EXPECT_EQ(cam->camera().rawData(vxsim::kFirmwareImageId), package);
    const auto writes = requests(*cam, wire::WriteData);
    ASSERT_EQ(writes.size(), 41u);
    EXPECT_EQ(writes[40].u32(4), 40u * 8152u);
    EXPECT_EQ(writes[40].payload.size(), 8u + 101u);
    EXPECT_EQ(writes[40].halfWordSize, 101 / 2 + 4)
        << "the odd byte is left out of the declared length";
}
