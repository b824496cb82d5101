// The next steps vxfw names. A camera whose power failed in the middle of a write comes back as
// it was left: with its old firmware, with a mix of old and new that runs, or in its bootloader;
// in each case the update run again (twice for a two-stage bootloader update) finishes the job.
#include "vxfw/Recovery.h"

#include <exception>

#include "DevicePidAndMap.h"

namespace vxfw {

std::string nextStep(ExitCode exit, bool cameraGone) {
    std::string again = "run the same command again";
    if (cameraGone && (exit == kTransferFailed || exit == kDeviceFailure)) {
        return "the camera stopped answering (its power or its cable?): once it is back, " + again;
    }
    switch (exit) {
        case kTransferFailed:
            return again;
        case kDeviceFailure:
            return again + "; if it fails again, the camera needs attention";
        case kInterrupted:
            return again + " to finish";
        case kStageDone:
            return "reboot the camera, then " + again + " to finish";
        default:
            return {};
    }
}

std::string bootloaderNote(vx_device_t* device) {
    libvxsensor::DeviceIds ids;
    try {
        ids = libvxsensor::readDeviceIds(device);
    } catch (const std::exception&) {
        return {};
    }
    if (libvxsensor::firmwareFamilyOf(ids) != libvxsensor::FirmwareFamily::Bootloader) return {};
    return "the camera runs its bootloader: its firmware is missing or incomplete (a power "
           "failure during an update leaves it so). vxfw update FILE with its firmware brings it "
           "back; other operations wait until then";
}

}  // namespace vxfw
