// The host SDK's opaque info and error objects as the emulator builds them. Private to the
// emulator: callers only ever hold pointers and use the vx_* accessors.
#pragma once

#include <cstdint>
#include <string>

#include "vxsensor/vx_host.h"

namespace vxsim {
class ReplayEngine;
}

// A snapshot of the identity taken when the info was created, so later edits to the Device do
// not change what an already handed-out info reports (nor move its texts).
struct vx_device_info {
    uint16_t vid = 0;
    uint16_t pid = 0;
    std::string connectionType;
    std::string firmwareVersion;
    vxsim::ReplayEngine* replay = nullptr;  // set: a replay camera's, answered from its trace
};

struct vx_error {
    int status = 0;
    std::string message;
    std::string function;
    std::string args;
    int exceptionType = 0;
};

namespace vxsim::host {

// Host objects as the emulator's host functions make them, counted for the leak checks.
vx_error* newError(const std::string& message, const std::string& function);
vx_device_info* newInfo();
void deleteInfo(vx_device_info* info);

}  // namespace vxsim::host
