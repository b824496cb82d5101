// Firmware update of L5Pro and MiroMax cameras through the exported C function: what reaches
// the camera, how its own install is followed, the refusals, the retries and the poll timeouts.
#include <gtest/gtest.h>

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

namespace {

uint32_t g_pollPauses = 0;  // sleeps of 500 ms
uint32_t g_otherSleeps = 0;
void countSleep(uint32_t ms) {
    ++(ms == 500 ? g_pollPauses : g_otherSleeps);
}

Reports lastReports(const Reports& reports, size_t n) {
    return Reports(reports.end() - static_cast<std::ptrdiff_t>(std::min(n, reports.size())),
                   reports.end());
}

const char* kTransferring = "Firmware data transferring!";
const char* kTransferDone = "Firmware data transfer done!";
const char* kTransferFailed = "Firmware data transfer failed!";
const char* kIncompatible = "Update failed!\nIncompatible firmware file for current device!";
const char* kParseFailed =
    "Parse firmware data failed!\nInvalid input data or data has been damaged";
const UpgradeReport kDone{3, "Upgrade success", 100};

}  // namespace

class L5ProAndMiroMaxUpdateTest : public CatalogTest {
protected:
    void SetUp() override {
        CatalogTest::SetUp();
        g_otherSleeps = 0;
        libvxsensor::setSleepHook(countSleep);
    }
    void TearDown() override {
        EXPECT_EQ(g_otherSleeps, 0u) << "every wait is a 500 ms poll pause";
        CatalogTest::TearDown();
    }

    // An update of `file` on a fresh catalog camera that installs by `script`.
    static std::unique_ptr<vxsim::EmulatedCamera> run(
        const char* camera, const std::vector<uint8_t>& file, UpgradeRecorder& r,
        const InstallScript& script = vxsim::quickInstall(),
        const std::vector<FaultRule>& faults = {}) {
        auto cam = vxsim::makeCamera(camera);
        vxsim::setInstallScript(*cam, script);
        for (const FaultRule& rule : faults) cam->faults().add(rule);
        g_pollPauses = 0;
        update(*cam, file, r);
        return cam;
    }
    // Three full 8152-byte packets: 64-byte header, 128-byte record header, 24264 data bytes.
    static std::vector<uint8_t> l5proImage(uint16_t pid = 0x0671) {
        return L840ContainerWriter()
            .component(L840RecordWriter().data(bytes(24264, 7)).pids({pid}))
            .write();
    }
    // `size` counting bytes that start with `prefix`.
    static std::vector<uint8_t> file(size_t size, const std::string& prefix) {
        std::vector<uint8_t> out = bytes(size, 7);
        std::copy(prefix.begin(), prefix.end(), out.begin());
        return out;
    }
};

TEST_F(L5ProAndMiroMaxUpdateTest, L5ProImageGoesOutInFullPacketsAndIsFollowedToTheEnd) {
    const auto image = l5proImage();
    UpgradeRecorder r;
    const auto cam = run("l5pro", image, r,
                         InstallScript().working(2).started().progress(40, "Writing flash").done());
    EXPECT_EQ(r.reports, (Reports{{4, kTransferring, 33},
                                  {4, kTransferring, 66},
                                  {4, kTransferring, 100},
                                  {4, kTransferDone, 100},
                                  {2, "Writing flash", 40},
                                  kDone}));
    EXPECT_EQ(r.error, nullptr);
    EXPECT_EQ(g_pollPauses, 3u) << "after each poll before the start and between reports";
    EXPECT_EQ(cam->camera().rawData(vxsim::kFirmwareImageId), image);
    for (const wire::Request& write : requests(*cam, wire::WriteData))
        EXPECT_EQ(write.payload.size(), 8u + 8152u);
}

TEST_F(L5ProAndMiroMaxUpdateTest, TheCamerasVerdictIsPassedOnAndEndsTheUpdate) {
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
         {handedOver, {1, "Verifying", 100}, kDone}},
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
            run(c.camera, miroMax ? MiroMaxPackageWriter().write() : l5proImage(pid), r, c.script);
        EXPECT_EQ(lastReports(r.reports, c.verdict.size()), c.verdict);
        EXPECT_EQ(requests(*cam, wire::StartWriteData).size(), 1u)
            << "the camera's verdict is not retried";
        EXPECT_EQ(r.error, nullptr);
    }
}

TEST_F(L5ProAndMiroMaxUpdateTest, L5ProMainFirmwareMustFitTheDevice) {
    struct Case {
        const char* camera;
        std::vector<uint8_t> image;
        UpgradeReport report;
        bool thrown;
    };
    const Case cases[] = {
        {"l5pro", l5proImage(0x0999), {-9, kIncompatible, 0}, false},
        {"l5pro", L840ContainerWriter().write(), {-9, kIncompatible, 0}, false},
        {"l945se", l5proImage(0x0671), {-9, kIncompatible, 0}, false},
        {"l5pro", {'P', 'K', 3}, {-9, kParseFailed, 0}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::get<1>(c.report));
        UpgradeRecorder r;
        const auto cam = run(c.camera, c.image, r);
        EXPECT_EQ(r.reports, Reports{c.report});
        EXPECT_EQ(r.error != nullptr, c.thrown);
        EXPECT_TRUE(requests(*cam, wire::StartWriteData).empty());
    }
    // Composite packages and board images carry no product ids; they are not container files.
    for (const auto& [camera, image] :
         {std::pair{"l5pro", file(9000, "PK\3\4")}, std::pair{"l945se", file(9000, "OTRA")}}) {
        UpgradeRecorder r;
        const auto cam = run(camera, image, r);
        EXPECT_EQ(r.last(), kDone) << camera;
        EXPECT_EQ(cam->camera().rawData(vxsim::kFirmwareImageId), image);
    }
}

TEST_F(L5ProAndMiroMaxUpdateTest, L5ProPresetPackageIsSentOnceWithoutFollowingTheCamera) {
    const auto package = file(1000, "VXPRESET");
    UpgradeRecorder r;
    const auto cam = run("l5pro", package, r);
    EXPECT_EQ(r.reports, (Reports{{4, kTransferring, 100}, {4, kTransferDone, 100}}));
    EXPECT_EQ(cam->camera().rawData(vxsim::kPresetPackageId), package);
    EXPECT_TRUE(requests(*cam, wire::GetStructureData).empty());

    UpgradeRecorder f;
    const auto failing = run("l5pro", package, f, vxsim::quickInstall(),
                             {FaultRule::onOpcode(wire::WriteData, Fault::deviceError(9))});
    EXPECT_EQ(f.reports, (Reports{{-13, kTransferFailed, 0}}));
    EXPECT_EQ(requests(*failing, wire::StartWriteData).size(), 1u);
    EXPECT_TRUE(requests(*failing, wire::GetStructureData).empty());
}

TEST_F(L5ProAndMiroMaxUpdateTest, L5ProRetriesAFailedTransferAndReportsOnlyTheLastFailure) {
    struct Case {
        std::vector<FaultRule> faults;
        size_t attempts;
        UpgradeReport last;
    };
    const Case cases[] = {
        {{FaultRule::onOpcode(wire::WriteData, 0, Fault::deviceError(9)),
          FaultRule::onOpcode(wire::WriteData, 1, Fault::transportError())},
         3,
         kDone},
        {{FaultRule::onOpcode(wire::WriteData, Fault::deviceError(9))},
         5,
         {-13, kTransferFailed, 0}},
    };
    for (const Case& c : cases) {
        UpgradeRecorder r;
        const auto cam = run("l5pro", l5proImage(), r, vxsim::quickInstall(), c.faults);
        EXPECT_EQ(requests(*cam, wire::StartWriteData).size(), c.attempts);
        EXPECT_EQ(r.failures(), std::get<0>(c.last) < 0 ? Reports{c.last} : Reports{});
        EXPECT_EQ(r.last(), c.last);
    }
}

// 1200 polls for the start, then 1200 for the end. L5Pro then leaves the rest to the camera in
// silence; MiroMax reports a timeout.
TEST_F(L5ProAndMiroMaxUpdateTest, PollPhasesTimeOutThroughTheSleepSeam) {
    struct Case {
        const char* camera;
        InstallScript script;
        uint32_t pauses;
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
        const uint16_t pid = vxsim::findModel(c.camera).pid;  // L945Se: the L5Pro updater's
        const auto cam =
            run(c.camera, miroMax ? MiroMaxPackageWriter().write() : l5proImage(pid), r, c.script);
        EXPECT_EQ(g_pollPauses, c.pauses);
        EXPECT_EQ(r.last(), c.last);
        EXPECT_EQ(r.failures().size(), miroMax ? 1u : 0u);
        EXPECT_EQ(requests(*cam, wire::StartWriteData).size(), 1u);
    }
}

TEST_F(L5ProAndMiroMaxUpdateTest, MiroMaxPackageIsStreamedInChunksWithThrottledProgress) {
    // 40 full chunks and an odd last one of 101 bytes.
    const auto package = MiroMaxPackageWriter().payload(bytes(40 * 8152 + 101 - 256, 7)).write();
    UpgradeRecorder r;
    const auto cam = run("miromax", package, r, InstallScript().working(1).started().done());
    ASSERT_GE(r.reports.size(), 3u);
    EXPECT_EQ(r.reports.front(), (UpgradeReport{4, "Start to transfer firmware file data", 0}));
    std::vector<int> percents;
    for (const auto& [state, message, percent] : r.reports)
        if (message == "Firmware file data transferring ...") percents.push_back(percent);
    ASSERT_FALSE(percents.empty());
    EXPECT_EQ(percents.front(), 2) << "the first chunk is reported at once";
    EXPECT_EQ(percents.back(), 100);
    EXPECT_LT(percents.size(), 10u) << "reports are throttled to one per half second";
    EXPECT_EQ(r.last(), kDone);

    EXPECT_EQ(cam->camera().rawData(vxsim::kFirmwareImageId), package);
    const auto writes = requests(*cam, wire::WriteData);
    ASSERT_EQ(writes.size(), 41u);
    EXPECT_EQ(writes[40].u32(4), 40u * 8152u);
    EXPECT_EQ(writes[40].payload.size(), 8u + 101u);
    EXPECT_EQ(writes[40].halfWordSize, 101 / 2 + 4)
        << "the odd byte is left out of the declared length";
}

TEST_F(L5ProAndMiroMaxUpdateTest, MiroMaxRefusalsComeBeforeTheTransfer) {
    struct Case {
        const char* camera;
        std::vector<uint8_t> package;
        bool recoveryOff;
        UpgradeReport report;
    };
    const Case cases[] = {
        {"miromax,conn=USB3.0",
         MiroMaxPackageWriter().write(),
         false,
         {-6, "Miro max device only support upgrade firmware via ethernet now!", 0}},
        {"miromax",
         MiroMaxPackageWriter().productName("ra-dk700v").write(),
         false,
         {-9, "Firmware mismatch, unsupported product name: ra-dk700v", 0}},
        {"ra-dk700v",
         MiroMaxPackageWriter().productName("RA-DK700V").firmwareType(3).write(),
         false,
         {-9, "Parse firmware data failed!\nMiro Max doesn't support upgrade application now", 0}},
        {"miromax",
         MiroMaxPackageWriter().firmwareType(7).write(),
         false,
         {-9, "Parse firmware data failed!\nInvalid firmware type: 7", 0}},
        {"miromax", MiroMaxPackageWriter().magic("ZZZZ").write(), false, {-9, kParseFailed, 0}},
        {"miromax",
         MiroMaxPackageWriter().write(),
         true,
         {-6, "Please ensure that you have activated the recovery mode!", 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::get<1>(c.report));
        auto cam = vxsim::makeCamera(c.camera);
        if (c.recoveryOff) cam->camera().setProperty(vxsim::kRecoveryModeProperty, 0);
        UpgradeRecorder r;
        update(*cam, c.package, r);
        EXPECT_EQ(r.reports, Reports{c.report});
        r.expectError(std::get<1>(c.report), "vx_device_update_firmware_from_raw_data_ext", 1);
        EXPECT_EQ(cam->device().exchanges().size(), c.recoveryOff ? 1u : 0u)
            << "nothing sent but the mode query";
    }
}
