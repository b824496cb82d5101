// Exception translation at the C boundary.
#include "ExceptionTranslation.h"

#include "common/VxExceptionExt.h"
#include "firmware/FirmwareMessages.h"

namespace libvxsensor {

namespace {
constexpr int kStatusError = 1;
constexpr int kTypeKnownException = 1;
constexpr int kTypeUnknownException = 0;
}  // namespace

void reportFailure(const char* function, VXUpgradeState state, const char* message,
                   int exceptionType, vx_device_upgrade_callback cb, void* userData,
                   vx_error** error) {
    if (cb != nullptr) {
        cb(state, message, 0, userData);
    }
    if (error != nullptr) {
        *error = vx_create_error(kStatusError, message, function, "", exceptionType);
    }
}

bool translateExceptions(const char* function, PresetCountState presetCount,
                         vx_device_upgrade_callback cb, void* userData, vx_error** error,
                         const std::function<void()>& body) {
    const auto fail = [&](VXUpgradeState state, const char* message, int type) {
        reportFailure(function, state, message, type, cb, userData, error);
    };
    try {
        body();
        return true;
    } catch (const mismatch_firmware_exception_ext& e) {
        fail(VX_UPGRADE_STATE_MISMATCH, e.what(), kTypeKnownException);
    } catch (const unsupported_device_exception_ext& e) {
        fail(VX_UPGRADE_STATE_UNSUPPORTED_DEVICE, e.what(), kTypeKnownException);
    } catch (const invalid_preset_count_ext& e) {
        fail(presetCount == PresetCountState::Own ? VX_UPGRADE_STATE_INVALID_PRESET_COUNT
                                                  : VX_UPGRADE_STATE_FAILED,
             e.what(), kTypeKnownException);
    } catch (const std::exception& e) {
        fail(VX_UPGRADE_STATE_FAILED, e.what(), kTypeKnownException);
    } catch (...) {
        fail(VX_UPGRADE_STATE_FAILED, "Unknown error", kTypeUnknownException);
    }
    return false;
}

Verdict judge(PresetCountState presetCount, const std::function<CheckResult()>& check) {
    Verdict verdict;
    const vx_device_upgrade_callback keep = [](VXUpgradeState state, const char* message, uint8_t,
                                               void* self) {
        auto* v = static_cast<Verdict*>(self);
        v->state = state;
        v->message = message != nullptr ? message : "";
    };
    translateExceptions("judge", presetCount, keep, &verdict, nullptr, [&] {
        CheckResult result = check();
        const std::optional<UnwrittenEnd>& end = result.unwritten;
        if (!end) {
            verdict.accepted = true;
            verdict.state = result.endState;
            verdict.writes = std::move(result.writes);
        } else if (end->silent) {
            verdict.message = firmwaremsg::kNothingToWrite;
        } else {
            verdict.accepted = end->state >= 0;
            verdict.state = end->state;
            verdict.message = end->message;
        }
    });
    return verdict;
}

}  // namespace libvxsensor
