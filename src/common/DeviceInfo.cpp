// The device-information guard.
#include "common/DeviceInfo.h"

#include "common/Utils.h"

namespace libvxsensor {

DeviceInfo::DeviceInfo(vx_device_t* device) {
    vx_error* error = nullptr;
    info_ = vx_device_get_device_info(device, &error);
    check_vx_error(&error);
}

DeviceInfo::~DeviceInfo() {
    if (released_) {
        return;
    }
    vx_error* error = nullptr;
    vx_delete_device_info(info_, &error);
    if (error != nullptr) {
        vx_delete_error(error);
    }
}

void DeviceInfo::release() {
    released_ = true;
    vx_error* error = nullptr;
    vx_delete_device_info(info_, &error);
    check_vx_error(&error);
}

uint16_t DeviceInfo::vid() const {
    vx_error* error = nullptr;
    const int vid = vx_device_info_get_vid(info_, &error);
    check_vx_error(&error);
    return static_cast<uint16_t>(vid);
}

uint16_t DeviceInfo::pid() const {
    vx_error* error = nullptr;
    const int pid = vx_device_info_get_pid(info_, &error);
    check_vx_error(&error);
    return static_cast<uint16_t>(pid);
}

std::string DeviceInfo::connectionType() const {
    vx_error* error = nullptr;
    const char* text = vx_device_info_get_connection_type(info_, &error);
    check_vx_error(&error);
    return text != nullptr ? text : "";
}

std::string DeviceInfo::firmwareVersion() const {
    vx_error* error = nullptr;
    const char* text = vx_device_info_get_firmware_version(info_, &error);
    check_vx_error(&error);
    return text != nullptr ? text : "";
}

}  // namespace libvxsensor
