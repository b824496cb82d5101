// One emulated camera opened through the device-plugin interface (what `vxfw --sim` uses): the
// catalog camera, the session options on top of the camera options, and a state file that lets
// one run see what an earlier one left.
//   MODEL[,camera options][,fault=TARGET[@N]:KIND[:VALUE]...][,disappear=N]
//        [,install=ok|fail|never][,state=FILE][,interrupt=N[:COUNT]][,cut=N][,reboot]
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vxsim/Faults.h"
#include "vxsim/Models.h"

namespace vxsim {

class Session {
public:
    // std::invalid_argument naming what is wrong with the description.
    explicit Session(const std::string& description);

    vx_device_t* handle() { return camera_->handle(); }
    EmulatedCamera& camera() { return *camera_; }
    std::string describe() const;
    // "Faults injected: N", or empty.
    std::string report() const;
    // Saves the state file (written whole beside it, then renamed over it, so a run cut short
    // leaves the previous state or the new one, never half of either). std::runtime_error on
    // failure.
    void save() const;

private:
    void load();

    std::unique_ptr<EmulatedCamera> camera_;
    std::string stateFile_;
    std::vector<uint8_t> freshFlash_;  // the flash as made, so a state file holds only changes
};

}  // namespace vxsim
