// What a user, or a script, does next: after an operation's outcome, and with a camera that
// comes up in its bootloader (what a power failure during an update leaves). Each text is said
// here and nowhere else; the README's "If the power fails during an update" quotes them.
#pragma once

#include <string>

#include "vxfw/ExitCodes.h"
#include "vxsensor/vx_host.h"

namespace vxfw {

// Empty when the outcome calls for nothing or for nothing the tool can name. `cameraGone`: the
// camera stopped answering during the run.
std::string nextStep(ExitCode exit, bool cameraGone);

// Empty unless the camera runs a bootloader (or cannot say who it is: the operation will).
std::string bootloaderNote(vx_device_t* device);

}  // namespace vxfw
