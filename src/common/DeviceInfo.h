// RAII access to the host's device-information object: obtained once, released on every path.
// Each read goes through check_vx_error, so a host failure becomes an exception; so does a
// failed release, when the caller releases explicitly with release(). The destructor releases
// silently: it runs when an exception is already on its way, or where a failed release has
// nothing to tell.
#pragma once

#include <cstdint>
#include <string>

#include "vxsensor/vx_host.h"

namespace libvxsensor {

class DeviceInfo {
public:
    explicit DeviceInfo(vx_device_t* device);
    ~DeviceInfo();
    // Releases the object now and raises a host error from the release. Reads are not allowed
    // afterwards.
    void release();
    DeviceInfo(const DeviceInfo&) = delete;
    DeviceInfo& operator=(const DeviceInfo&) = delete;

    uint16_t vid() const;
    uint16_t pid() const;
    std::string connectionType() const;
    std::string firmwareVersion() const;

private:
    vx_device_info* info_;
    bool released_ = false;
};

}  // namespace libvxsensor
