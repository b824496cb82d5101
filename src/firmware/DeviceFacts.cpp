// The facts an update asks of a camera, from the camera itself or from a description.
#include "firmware/DeviceFacts.h"

#include "common/DeviceInfo.h"
#include "vendorcommand/VendorCommand.h"
#include "vexoraFirmware/L5BootloaderInfoManager.h"
#include "vexoraFirmware/L840BootloaderInfoManager.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kBootloaderProbeId = 1063;
constexpr uint32_t kRecoveryModeProperty = 133;

}  // namespace

DeviceIds LiveDevice::ids() {
    return readDeviceIds(device_);
}

uint16_t LiveDevice::pidAndConnection(std::string& connectionType) {
    DeviceInfo info(device_);
    const uint16_t pid = info.pid();
    connectionType = info.connectionType();
    info.release();
    return pid;
}

uint32_t LiveDevice::packetSize() {
    return VendorCommand::packetSizeForConnection(device_);
}

std::string LiveDevice::firmwareVersion() {
    DeviceInfo info(device_);
    std::string version = info.firmwareVersion();
    info.release();
    return version;
}

std::string LiveDevice::ispVersion() {
    vx_error* error = nullptr;
    const char* text = vx_device_get_extension_info(device_, "IspFwVer", &error);
    if (error != nullptr) {
        vx_delete_error(error);  // a device without an ISP version is not an error
        return {};
    }
    return text != nullptr ? text : "";
}

// L840-family bootloaders answer this structure request; the others do not.
bool LiveDevice::answersBootloaderProbe() {
    uint8_t buffer[16] = {};
    uint32_t size = sizeof buffer;
    vx_error* error = nullptr;
    vx_device_get_structured_data(device_, kBootloaderProbeId, buffer, &size, &error);
    if (error == nullptr) {
        return true;
    }
    vx_delete_error(error);
    return false;
}

SavedIdentity LiveDevice::l840SavedIdentity(uint32_t packetSize) {
    L840BootloaderInfoManager manager;
    const uint32_t packed = manager.getDeviceVidPid(device_, packetSize);
    SavedIdentity saved;
    saved.readFailed = manager.saveInfoReadFailed();
    saved.ids = {static_cast<uint16_t>(packed & 0xFFFF), static_cast<uint16_t>(packed >> 16)};
    return saved;
}

uint16_t LiveDevice::l5SavedPid(uint32_t packetSize) {
    return L5BootloaderInfoManager().getDevicePid(device_, packetSize);
}

bool LiveDevice::recoveryMode() {
    VXPropertyValue value{};
    VendorCommand::getPropertyValue(device_, kRecoveryModeProperty, value);
    return value.intValue != 0;
}

uint16_t DescribedCamera::pidAndConnection(std::string& connectionType) {
    connectionType = description_.connectionType;
    return description_.ids.pid;
}

uint32_t DescribedCamera::packetSize() {
    return VendorCommand::packetSizeForConnectionType(description_.connectionType);
}

SavedIdentity DescribedCamera::l840SavedIdentity(uint32_t /*packetSize*/) {
    SavedIdentity saved;
    saved.readFailed = !description_.savedIdentity;
    if (description_.savedIdentity) {
        saved.ids = L840BootloaderInfoManager::resolve(*description_.savedIdentity);
    }
    return saved;
}

uint16_t DescribedCamera::l5SavedPid(uint32_t /*packetSize*/) {
    return description_.savedIdentity ? description_.savedIdentity->pid : kBootloaderPid;
}

}  // namespace libvxsensor
