// The one place where exceptions become the caller's progress state and a host error object.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "firmware/IFirmwareUpdater.h"
#include "vxsensor/vx_host.h"

namespace libvxsensor {

enum class PresetCountState { Own, Generic };

// Runs `body`. An exception that escapes it is reported to `cb` (when given) as
// (state, text, 0), then stored as a new error object (status 1) naming `function`:
// mismatch -9, unsupported device -10, invalid preset count -11 (only with
// PresetCountState::Own, else -6), any other std::exception -6, anything else -6 "Unknown error".
// True when `body` ran to its end.
bool translateExceptions(const char* function, PresetCountState presetCount,
                         vx_device_upgrade_callback cb, void* userData, vx_error** error,
                         const std::function<void()>& body);

// Reports a failure the same way, for the checks the entry points make themselves.
void reportFailure(const char* function, VXUpgradeState state, const char* message,
                   int exceptionType, vx_device_upgrade_callback cb, void* userData,
                   vx_error** error);

// What an update would come to, judged by its checks before the first write.
struct Verdict {
    // It would write the file, or end well without writing (a camera that already runs the one
    // ISP part of a container).
    bool accepted = false;
    // The state it would end in; when not accepted, with the message it would report: a
    // refusal's, as translateExceptions turns it into a state, a report of its own, or
    // firmwaremsg::kNothingToWrite for a container without components, which an update ends
    // silently.
    VXUpgradeState state = VX_UPGRADE_STATE_FAILED;
    std::string message;
    // Accepted: what it would write, and the state it would end in (done, or first stage done).
    std::vector<PlannedWrite> writes;
};

// Runs an updater's `check` (which throws the update's refusals and returns how it would end
// without writing) and says what it comes to.
Verdict judge(PresetCountState presetCount, const std::function<CheckResult()>& check);

}  // namespace libvxsensor
