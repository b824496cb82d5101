// The camera models whose verdicts `vxfw inspect` gives: the emulator's catalog, each as the
// library's description of a camera, with the device-group records the application registers
// for them already handed to the library.
#pragma once

#include <string>
#include <vector>

#include "firmware/DeviceFacts.h"

namespace vxfw {

struct CameraModel {
    std::string name;  // as `vxfw sim list` and --sim name it
    libvxsensor::CameraDescription description;
};

const std::vector<CameraModel>& cameraModels();

}  // namespace vxfw
