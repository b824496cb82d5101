// The host SDK's opaque info and error objects as the emulator builds them. Private to the
// emulator: callers only ever hold pointers and use the vx_* accessors.
#pragma once

#include <cstdint>
#include <string>

// A snapshot of the identity taken when the info was created, so later edits to the Device do
// not change what an already handed-out info reports (nor move its texts).
struct vx_device_info {
    uint16_t vid = 0;
    uint16_t pid = 0;
    std::string connectionType;
    std::string firmwareVersion;
};

struct vx_error {
    int status = 0;
    std::string message;
    std::string function;
    std::string args;
    int exceptionType = 0;
};
