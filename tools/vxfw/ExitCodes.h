// The exit statuses of vxfw, documented in the README. Scripts and CI rely on them.
#pragma once

namespace vxfw {

enum ExitCode : int {
    kOk = 0,
    kInternalError = 1,      // a fault of the tool itself
    kBadArguments = 2,       // wrong command line, or an input file that cannot be read
    kRefusedFile = 3,        // the library refuses the file (damaged, wrong kind, wrong device)
    kUnsupportedDevice = 4,  // the camera is not served by this operation
    kTransferFailed = 5,     // a transfer or verification failed
    kDeviceFailure = 6,      // the camera reported a failure or timed out
};

}  // namespace vxfw
