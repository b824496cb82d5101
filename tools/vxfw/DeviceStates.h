// What the library's progress states and exceptions mean to vxfw: a name to show and the exit
// status of an operation that ends in them (ExitCodes.h).
#pragma once

#include <exception>

#include "vxfw/ExitCodes.h"

namespace vxfw {

struct StateMeaning {
    int state;
    const char* name;
    ExitCode exit;
};

// VXUpgradeState: firmware and preset updates. `deviceInstalling`: the camera had started to
// install before the end, so a failure then is the camera's own, whatever its code.
StateMeaning upgradeState(int state, bool deviceInstalling = false);
// VXDataTranState: flash transfers.
StateMeaning transferState(int state);
// The flash and customer-data entry points report failures only as exceptions.
ExitCode exitForException(const std::exception& error);

}  // namespace vxfw
