// The one place where exceptions become the caller's progress state and a host error object.
#pragma once

#include <functional>

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

}  // namespace libvxsensor
