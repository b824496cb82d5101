// The one table from the library's outcomes to vxfw's exit statuses. A file that cannot be read
// is a bad argument (2), like a missing one; a file the library reads and refuses is 3.
#include "vxfw/DeviceStates.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <typeinfo>

namespace vxfw {

namespace {

// The exit column says what an operation that ends in the state returns. States that are not
// meant to end an operation map to a failed transfer: the library stopped before completing.
constexpr StateMeaning kUpgradeStates[] = {
    {7, "stage done", kStageDone},  // first stage written: reboot and update again
    {6, "done, duplicates ignored", kOk},
    {5, "verify done", kTransferFailed},
    {4, "transferring", kTransferFailed},
    {3, "done", kOk},
    {2, "installing", kDeviceFailure},
    {1, "ready", kTransferFailed},
    {0, "verifying", kTransferFailed},
    {-1, "verify failed", kTransferFailed},
    {-2, "device failed", kDeviceFailure},
    {-3, "clear failed", kTransferFailed},
    {-4, "device error", kDeviceFailure},
    {-5, "file short read", kBadArguments},
    {-6, "failed", kTransferFailed},
    {-7, "device aborted", kDeviceFailure},
    {-8, "timeout", kDeviceFailure},
    {-9, "mismatch", kRefusedFile},
    {-10, "unsupported device", kUnsupportedDevice},
    {-11, "invalid preset count", kRefusedFile},
    {-12, "file unreadable", kBadArguments},
    {-13, "transfer failed", kTransferFailed},
};

constexpr StateMeaning kTransferStates[] = {
    {0, "transferring", kTransferFailed},
    {1, "verifying", kTransferFailed},
    {2, "done", kOk},
    {4, "verify done", kTransferFailed},
    {-3, "failed", kTransferFailed},
    {-4, "verify failed", kTransferFailed},
};

// The library's exception classes are not exported: their names are all a host sees of them.
struct ExceptionMeaning {
    const char* className;
    ExitCode exit;
};
constexpr ExceptionMeaning kExceptions[] = {
    {"unsupported_device_exception_ext", kUnsupportedDevice},
    {"unsupported_operation_exception_ext", kUnsupportedDevice},
    {"invalid_connection_type_ext", kUnsupportedDevice},
    {"mismatch_firmware_exception_ext", kRefusedFile},
};

template <size_t N>
const StateMeaning* find(const StateMeaning (&table)[N], int state) {
    const auto it = std::find_if(std::begin(table), std::end(table),
                                 [state](const StateMeaning& m) { return m.state == state; });
    return it == std::end(table) ? nullptr : it;
}

}  // namespace

StateMeaning upgradeState(int state, bool deviceInstalling) {
    const StateMeaning* known = find(kUpgradeStates, state);
    // Cameras that install their own updates pass their status codes through unchanged.
    StateMeaning meaning = known != nullptr ? *known
                           : state < 0      ? StateMeaning{state, "device status", kDeviceFailure}
                                            : StateMeaning{state, "working", kTransferFailed};
    if (state < 0 && deviceInstalling) meaning.exit = kDeviceFailure;
    return meaning;
}

StateMeaning transferState(int state) {
    const StateMeaning* known = find(kTransferStates, state);
    return known != nullptr ? *known : StateMeaning{state, "unknown", kTransferFailed};
}

ExitCode exitForException(const std::exception& error) {
    const char* type = typeid(error).name();
    for (const ExceptionMeaning& e : kExceptions) {
        if (std::strstr(type, e.className) != nullptr) return e.exit;
    }
    return kTransferFailed;
}

}  // namespace vxfw
