// The exit statuses of vxfw, documented in the README and the man page. Scripts, CI and update
// systems rely on them.
#pragma once

namespace vxfw {

enum ExitCode : int {
    kOk = 0,
    kInternalError = 1,      // a fault of the tool itself
    kBadArguments = 2,       // wrong command line, or an input that cannot be read
    kRefusedFile = 3,        // the file is refused (damaged, wrong kind, wrong device, an older or
                             // the same version): nothing was written
    kUnsupportedDevice = 4,  // the camera is not served by this operation: nothing was written
    kTransferFailed = 5,     // a transfer or verification failed: run the command again
    kDeviceFailure = 6,      // the camera reported a failure or timed out
    kStageDone = 7,          // first stage written: reboot the camera and run the command again
    kInterrupted = 8,        // stopped by a signal between transfer steps: run the command again
    kReplayDiverged = 9,     // a replay (vxfw replay, --replay) found the library's host calls,
                             // or the run's outcome, other than the trace recorded
};

}  // namespace vxfw
