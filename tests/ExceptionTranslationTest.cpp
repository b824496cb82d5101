// The catch frame of the update entry points: which state and error object each kind of
// exception becomes (RefusalsTest shows them at the entry points).
#include "ExceptionTranslation.h"

#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "common/VxExceptionExt.h"
#include "support/SimTest.h"
#include "support/Upgrade.h"

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
    const std::tuple<std::function<void()>, PresetCountState, int, const char*, int> cases[] = {
        {[] { throw mismatch_firmware_exception_ext("m"); }, PresetCountState::Generic, -9, "m", 1},
        {[] { throw unsupported_device_exception_ext("u"); }, PresetCountState::Generic, -10, "u",
         1},
        {[] { throw invalid_preset_count_ext("p"); }, PresetCountState::Own, -11, "p", 1},
        {[] { throw invalid_preset_count_ext("p"); }, PresetCountState::Generic, -6, "p", 1},
        {[] { throw invalid_connection_type_ext("c"); }, PresetCountState::Own, -6, "c", 1},
        {[] { throw std::runtime_error("r"); }, PresetCountState::Own, -6, "r", 1},
        {[] { throw 42; }, PresetCountState::Own, -6, "Unknown error", 0},
    };
    for (const auto& [body, presetCount, state, message, type] : cases) {
        const UpgradeRecorder r = run(presetCount, body);
        EXPECT_EQ(r.reports, (std::vector<UpgradeReport>{{state, message, 0}})) << message;
        r.expectError(message, "entry", type);
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
