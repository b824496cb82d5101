// The emulated camera as a device source: --sim MODEL[,option...]. Camera options (conn, fw,
// boot, flash, isp, saveinfo) go to the emulator's catalog; the tool adds its own:
//   fault=TARGET[@N]:KIND[:VALUE]   (repeatable) spoil exchanges; TARGET an opcode name such as
//                                   WRITE_FLASH, an opcode number, or "exchange" (needs @N);
//                                   @N the N-th such exchange counting from 1, else every one
//   disappear=N                     the camera is gone after N exchanges
//   link=usb2|usb3|gmsl2|ethernet   the link whose time progress rates follow
//   install=ok|fail|never           how a camera that installs its own updates ends
//   state=FILE                      keep flash and customer data in FILE between runs
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vxfw/Device.h"
#include "vxsim/Faults.h"
#include "vxsim/Models.h"

namespace vxfw {

class SimDeviceSource : public DeviceSource {
public:
    // UsageError for a description the tool or the emulator cannot take.
    SimDeviceSource(const std::string& description, bool verbose);
    ~SimDeviceSource() override;
    SimDeviceSource(const SimDeviceSource&) = delete;
    SimDeviceSource& operator=(const SimDeviceSource&) = delete;

    vx_device_t* open() override;
    std::string describe() const override;
    void close() override;
    std::optional<LinkUsage> usage() const override;
    void report(std::FILE* out, double librarySeconds) const override;

private:
    void applyOption(const std::string& key, const std::string& value);
    void loadState();

    std::string cameraDescription_;
    std::vector<vxsim::FaultRule> faults_;
    std::optional<uint64_t> disappearAfter_;
    std::optional<vxsim::LinkModel> link_;
    std::string install_;
    std::string stateFile_;
    std::unique_ptr<vxsim::EmulatedCamera> camera_;
    std::vector<uint8_t> freshFlash_;  // the flash as made, so a state file holds only changes
};

}  // namespace vxfw
