// Fault campaign: for each maintenance operation, every fault variant of the emulator is injected
// at every exchange of the operation's traffic (sampled for long transfers), alone and in pairs.
// After each run: no leaked host object, exactly one final outcome through the operation's
// channel, nothing written when a check before the transfer refused, never a success report
// while the camera does not hold what was sent, and no update that reports success without
// having written and verified something (these files hold no ISP part, the one kind an update may
// rightly skip as already current).
#include <gmock/gmock.h>

#include <cstdio>
#include <functional>

#include "firmware/L5FirmwareParser.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "presets/L840OptionalDepthPresetsParser.h"
#include "support/Catalog.h"
#include "support/Progress.h"
#include "vxsim/Install.h"

using namespace libvxsensor;

using vxsim::EmulatedCamera;
using vxsim::Fault;
using vxsim::FaultRule;

namespace {

struct Outcome {
    int finals = 0;  // final outcomes reported (must be exactly one)
    bool success = false;
    bool refusedEarly = false;  // refused by a check that precedes the transfer
    bool holdsImage = true;     // the camera holds what a success claims
    bool update = false;        // a firmware update: success needs a verified write
    bool wroteAndVerified = false;
};

struct Operation {
    const char* name;
    const char* camera;
    size_t maxIndices;  // exchange indices tried (evenly sampled beyond this)
    std::function<Outcome(EmulatedCamera&)> run;
};

// The outcome of an upgrade-callback operation whose final states are `successStates`.
Outcome upgradeOutcome(const UpgradeRecorder& r, std::initializer_list<int> successStates) {
    Outcome o;
    for (const auto& report : r.reports) o.finals += std::get<0>(report) < 0 ? 1 : 0;
    if (r.reports.empty()) return o;
    const int last = std::get<0>(r.last());
    for (const int s : successStates) o.success = o.success || last == s;
    o.finals += o.success ? 1 : 0;
    if (o.finals == 1 && !o.success && last >= 0) o.finals = 2;  // a failure that is not the end
    o.refusedEarly =
        last == VX_UPGRADE_STATE_MISMATCH || last == VX_UPGRADE_STATE_UNSUPPORTED_DEVICE;
    return o;
}

Outcome firmwareUpdate(EmulatedCamera& cam, const std::vector<uint8_t>& file,
                       std::initializer_list<int> successStates) {
    UpgradeRecorder r;
    update(cam, file, r);
    Outcome o = upgradeOutcome(r, successStates);
    o.update = true;
    // A flash write checked by read-back or CRC, or an image the camera took whole.
    const vxsim::CameraCounters& c = cam.camera().counters();
    o.wroteAndVerified = (c.flashWrites > 0 && (c.flashBytesRead > 0 || c.crcChecks > 0)) ||
                         c.rawDataWritesFinished > 0;
    return o;
}

// An operation that reports through exceptions: it returns or it throws, one outcome either way.
Outcome thrownOrNot(const std::function<void()>& operation) {
    Outcome o;
    o.finals = 1;
    try {
        operation();
        o.success = true;
    } catch (const std::exception&) {
    }
    return o;
}

const std::vector<uint8_t> kBoot = bytes(1000, 1);
const std::vector<uint8_t> kMain = bytes(1500, 2);
const std::vector<uint8_t> kFlash = bytes(3000, 3);

std::vector<Operation> operations() {
    static const auto l840 =
        L840ContainerWriter()
            .serial("Lumex 840")
            .component(L840RecordWriter().name("boot").address(0x10000).data(kBoot))
            .component(L840RecordWriter().name("main").address(0x100000).data(kMain).pids({0x0800}))
            .write();
    static const auto l5 = L5ImageWriter().pid(0x0670).size(1500).write();
    static const auto miromax = MiroMaxPackageWriter().payload(bytes(20000, 4)).write();
    static std::vector<uint8_t> l945sePreset = [] {
        std::vector<uint8_t> p{'V', 'X', 'P', 'R', 'E', 'S', 'E', 'T'};
        p.resize(20000, 0x55);
        return p;
    }();
    static const auto presetFile =
        L840PresetFileWriter()
            .record(L840RecordWriter().address(0x7F0000).data(bytes(300, 5)))
            .write();

    return {
        {"flash write", "l840", 64,
         [](EmulatedCamera& cam) {
             SetProgress progress;
             vx_device_write_flash(cam.handle(), 0x200000, kFlash.data(), 3000, SetProgress::record,
                                   false, &progress);
             const Reports& reports = progress.reports;
             Outcome o;
             for (const Report& r : reports)
                 o.finals += (r.first < 0 && r.second == 0) || r == Report{2, 100};
             o.success = !reports.empty() && reports.back() == Report{2, 100};
             o.holdsImage = inFlash(cam, 0x200000, kFlash);
             if (!reports.empty() && reports.back().first >= 0 && !o.success) o.finals = 0;
             return o;
         }},
        {"flash read", "l840", 64,
         [](EmulatedCamera& cam) {
             cam.camera().writeFlashDirect(0x300000, kFlash);
             GetProgress got;
             vx_device_read_flash(cam.handle(), 0x300000, 3000, GetProgress::record, false, &got);
             Outcome o;
             for (const Report& r : got.reports) o.finals += r.first == 2 || r.first < 0;
             o.success = !got.reports.empty() && got.reports.back().first == 2;
             if (!got.reports.empty() && got.reports.back().first == 0) o.finals = 0;
             // Read answers carry no checksum, so a flipped bit cannot be noticed by a plain read
             // (verifying operations catch it); the length must be right in any case.
             o.holdsImage =
                 got.data.size() == kFlash.size() &&
                 (got.data == kFlash || cam.faults().injected(vxsim::FaultKind::BitFlip) > 0);
             return o;
         }},
        {"L840 update", "l840", 64,
         [](EmulatedCamera& cam) {
             Outcome o = firmwareUpdate(cam, l840, {VX_UPGRADE_STATE_DONE});
             o.holdsImage = inFlash(cam, 0x10000, kBoot) && inFlash(cam, 0x100000, kMain);
             return o;
         }},
        {"L840 bootloader update", "l840,boot", 64,
         [](EmulatedCamera& cam) {
             Outcome o =
                 firmwareUpdate(cam, l840, {VX_UPGRADE_STATE_STAGE_DONE, VX_UPGRADE_STATE_DONE});
             o.holdsImage = inFlash(cam, 0x100000, kMain);
             return o;
         }},
        {"L5 update", "l5", 64,
         [](EmulatedCamera& cam) {
             Outcome o = firmwareUpdate(cam, l5, {VX_UPGRADE_STATE_DONE});
             o.holdsImage = inFlash(cam, 0, l5);
             return o;
         }},
        {"MiroMax update", "miromax", 64,
         [](EmulatedCamera& cam) {
             Outcome o = firmwareUpdate(cam, miromax, {VX_UPGRADE_STATE_DONE});
             o.holdsImage = cam.camera().rawData(vxsim::kFirmwareImageId) == miromax;
             return o;
         }},
        {"L945Se preset image", "l945se", 64,
         [](EmulatedCamera& cam) {
             Outcome o = firmwareUpdate(cam, l945sePreset, {VX_UPGRADE_STATE_TRANSFERRING});
             o.holdsImage = cam.camera().rawData(vxsim::kPresetPackageId) == l945sePreset;
             return o;
         }},
        {"L840 presets", "l840", 64,
         [](EmulatedCamera& cam) {
             UpgradeRecorder r;
             upload(cam, {presetFile}, r);
             Outcome o;
             // Failed attempts are reported as they happen; the final outcome is the last report.
             const int last = r.reports.empty() ? 0 : std::get<0>(r.last());
             o.success = last == VX_UPGRADE_STATE_DONE;
             o.finals = static_cast<int>(
                 std::count_if(r.reports.begin(), r.reports.end(), [](const UpgradeReport& u) {
                     const int s = std::get<0>(u);
                     return s == VX_UPGRADE_STATE_DONE || s == VX_UPGRADE_STATE_CLEAR_FAILED ||
                            std::get<1>(u).rfind("Failed to", 0) == 0;
                 }));
             o.finals += (r.error != nullptr);
             o.holdsImage = inFlash(cam, 0x7F0000, bytes(300, 5));
             return o;
         }},
        {"customer data write", "l840", 64,
         [](EmulatedCamera& cam) {
             const auto data = bytes(128, 6);
             Outcome o = thrownOrNot(
                 [&] { vx_device_write_customer_data_ext(cam.handle(), data.data(), 128); });
             o.holdsImage = cam.camera().rawData(vxsim::kCustomerDataId) == data;
             return o;
         }},
        {"customer data read", "l840", 64,
         [](EmulatedCamera& cam) {
             cam.camera().setRawData(vxsim::kCustomerDataId, bytes(100, 7));
             std::vector<uint8_t> back(128, 0);
             uint32_t size = 128;
             Outcome o = thrownOrNot(
                 [&] { vx_device_read_customer_data_ext(cam.handle(), back.data(), &size); });
             back.resize(size);
             // Raw-data answers carry no checksum either (see the plain flash read).
             o.holdsImage =
                 back.size() == 100 &&
                 (back == bytes(100, 7) || cam.faults().injected(vxsim::FaultKind::BitFlip) > 0);
             return o;
         }},
    };
}

// The last one flips the low bit of a saved product id, as a bootloader's save-info answer
// carries it.
const std::vector<Fault> kVariants = {
    Fault::transportError(),  Fault::staleRequestId(),    Fault::busy(),
    Fault::deviceError(1),    Fault::deviceError(0x7FFF), Fault::deviceWarning(0x8001),
    Fault::badMagic(),        Fault::truncate(0),         Fault::truncate(9),
    Fault::truncate(10),      Fault::truncate(12),        Fault::overlongBody(1),
    Fault::overlongBody(100), Fault::overlongLength(1),   Fault::bitFlip(0),
    Fault::bitFlip(83),       Fault::bitFlip(1001),       Fault::disappear(),
    Fault::bitFlip(272)};

void noSleep(uint32_t) {}

// Erases what any operation writes, so a stale image cannot pass for a new one.
void resetCamera(EmulatedCamera& cam) {
    for (const uint32_t address : {0x0u, 0x10000u, 0x100000u, 0x200000u, 0x7F0000u}) {
        cam.camera().writeFlashDirect(address, std::vector<uint8_t>(4096, 0xFF));
    }
    for (const uint32_t id :
         {vxsim::kFirmwareImageId, vxsim::kPresetPackageId, vxsim::kCustomerDataId}) {
        if (cam.camera().hasRawDataObject(id)) cam.camera().setRawData(id, {});
    }
}

}  // namespace

class FaultCampaignTest : public CatalogTest {
protected:
    void SetUp() override {
        CatalogTest::SetUp();
        libvxsensor::setSleepHook(noSleep);
    }
};

TEST_F(FaultCampaignTest, EveryFaultAtEveryExchangeKeepsTheInvariants) {
    uint64_t runs = 0;
    uint64_t injected = 0;
    for (const Operation& op : operations()) {
        SCOPED_TRACE(op.name);
        auto cam = vxsim::makeCamera(op.camera);
        const auto runOnce = [&](const std::vector<FaultRule>& rules) {
            cam->faults().clear();
            for (const FaultRule& rule : rules) cam->faults().add(rule);
            resetCamera(*cam);
            cam->camera().resetCounters();
            cam->device().clearExchanges();
            const int errors = host().liveErrors();
            const int infos = host().liveDeviceInfos();
            const Outcome o = op.run(*cam);
            ++runs;
            injected += cam->faults().injected();
            EXPECT_EQ(host().liveErrors(), errors) << "leaked error objects";
            EXPECT_EQ(host().liveDeviceInfos(), infos) << "leaked device information";
            EXPECT_EQ(o.finals, 1) << "one final outcome";
            EXPECT_TRUE(!o.success || o.holdsImage)
                << "success claimed for what the camera does not hold; faults: "
                << (rules.empty() ? "none" : vxsim::faultKindName(rules[0].fault.kind)) << " at "
                << (rules.empty() ? 0 : rules[0].n);
            if (o.update && o.success) {
                EXPECT_TRUE(o.wroteAndVerified) << "success reported with nothing written";
            }
            if (o.refusedEarly) {
                EXPECT_EQ(cam->camera().counters().flashWrites, 0u)
                    << "written despite an early refusal";
            }
            return o;
        };

        const Outcome clean = runOnce({});
        ASSERT_TRUE(clean.success) << "the operation must succeed without faults";
        const uint64_t exchanges = cam->faults().exchangesSeen();
        const uint64_t step = std::max<uint64_t>(1, exchanges / op.maxIndices);
        for (const Fault& fault : kVariants) {
            for (uint64_t i = 0; i < exchanges; i += step) {
                runOnce({FaultRule::atExchange(i, fault)});
                runOnce({FaultRule::atExchange(i, fault), FaultRule::atExchange(i + 1, fault)});
                runOnce(
                    {FaultRule::atExchange(i, fault), FaultRule::atExchange(i + 3, Fault::busy())});
                runOnce({FaultRule::atExchange(i, fault),
                         FaultRule::atExchange(i + 2, Fault::staleRequestId())});
                runOnce({FaultRule::atExchange(i, fault), FaultRule::atExchange(i + 4, fault)});
            }
        }
        if (HasFailure()) break;  // one operation's report is enough to read
    }
    std::printf("fault campaign: %llu runs, %llu faults injected\n",
                static_cast<unsigned long long>(runs), static_cast<unsigned long long>(injected));
    EXPECT_GE(injected, 10000u);
}
