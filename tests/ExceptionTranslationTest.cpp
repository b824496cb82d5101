// The catch frame of the update entry points: which state and error object each kind of
// exception becomes.
#include "ExceptionTranslation.h"

#include <stdexcept>
#include <string>
#include <vector>

#include "common/VxExceptionExt.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "support/Catalog.h"

using namespace libvxsensor;

class ExceptionTranslationTest : public SimTest {
protected:
    UpgradeRecorder run(PresetCountState presetCount, const std::function<void()>& body) {
        UpgradeRecorder r;
        translateExceptions("entry", presetCount, UpgradeRecorder::record, &r, &r.error, body);
        return r;
    }
};

TEST_F(ExceptionTranslationTest, TheClassDecidesTheState) {
    struct Case {
        std::function<void()> body;
        PresetCountState presetCount;
        int state;
        const char* message;
        int type;
    };
    const Case cases[] = {
        {[] { throw mismatch_firmware_exception_ext("m"); }, PresetCountState::Generic, -9, "m", 1},
        {[] { throw unsupported_device_exception_ext("u"); }, PresetCountState::Generic, -10, "u",
         1},
        {[] { throw invalid_preset_count_ext("p"); }, PresetCountState::Own, -11, "p", 1},
        {[] { throw invalid_preset_count_ext("p"); }, PresetCountState::Generic, -6, "p", 1},
        {[] { throw invalid_connection_type_ext("c"); }, PresetCountState::Own, -6, "c", 1},
        {[] { throw std::runtime_error("r"); }, PresetCountState::Own, -6, "r", 1},
        {[] { throw 42; }, PresetCountState::Own, -6, "Unknown error", 0},
    };
    for (const Case& c : cases) {
        const UpgradeRecorder r = run(c.presetCount, c.body);
        EXPECT_EQ(r.reports, (std::vector<UpgradeReport>{{c.state, c.message, 0}})) << c.message;
        r.expectError(c.message, "entry", c.type);
    }
}

TEST_F(ExceptionTranslationTest, CallbackComesBeforeTheErrorObjectAndNothingWithoutFailure) {
    struct Seen {
        vx_error** error;
        bool errorSetDuringCallback = true;
    } seen;
    vx_error* error = nullptr;
    seen.error = &error;
    translateExceptions(
        "entry", PresetCountState::Own,
        [](VXUpgradeState, const char*, uint8_t, void* user) {
            auto* s = static_cast<Seen*>(user);
            s->errorSetDuringCallback = *s->error != nullptr;
        },
        &seen, &error, [] { throw std::runtime_error("late"); });
    EXPECT_FALSE(seen.errorSetDuringCallback);
    vx_delete_error(error);

    UpgradeRecorder quiet = run(PresetCountState::Own, [] {});
    EXPECT_TRUE(quiet.reports.empty());
    EXPECT_EQ(quiet.error, nullptr);
}

// A host that fails to release device information has failed: the operation ends there, with
// the host's message, and before anything is written.
class FailedReleaseTest : public CatalogTest {};

TEST_F(FailedReleaseTest, EndsTheOperationBeforeAnyWrite) {
    const std::vector<uint8_t> l840 =
        L840ContainerWriter().component(L840RecordWriter().name("main").data(bytes(64, 1))).write();
    const struct {
        const char* camera;
        std::vector<uint8_t> file;
    } cases[] = {
        {"l840", l840},
        {"l5", L5ImageWriter().write()},
        {"l5pro", l840},
        {"openni", bytes(0x20000, 3)},
        {"miromax", MiroMaxPackageWriter().write()},
    };
    // The factory's release, then the updater's own.
    for (const uint32_t skip : {0u, 1u}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(c.camera) + " release " + std::to_string(skip + 1));
            auto cam = vxsim::makeCamera(c.camera);
            host().failCall(vxsim::HostCall::DeleteDeviceInfo, {skip, 1, "release refused"});
            UpgradeRecorder r;
            update(*cam, c.file, r);
            EXPECT_EQ(r.reports, (std::vector<UpgradeReport>{{-6, "release refused", 0}}));
            r.expectError("release refused", "vx_device_update_firmware_from_raw_data_ext", 1);
            EXPECT_EQ(cam->camera().counters().flashWrites, 0u);
            EXPECT_EQ(cam->camera().counters().rawDataWritesFinished, 0u);
            if (skip == 0) {
                EXPECT_TRUE(cam->device().exchanges().empty());
            }
            EXPECT_EQ(
                logLinesWith("- where: vx_delete_device_info\n - msg: release refused").size(), 1u);
            host().reset();
        }
    }
    auto cam = vxsim::makeCamera("l840");
    host().failCall(vxsim::HostCall::DeleteDeviceInfo, {0, 1, "release refused"});
    const uint8_t data[4] = {1, 2, 3, 4};
    EXPECT_THAT([&] { vx_device_write_customer_data_ext(cam->handle(), data, 4); },
                failsWith("release refused"));
    EXPECT_TRUE(cam->device().exchanges().empty());
}
