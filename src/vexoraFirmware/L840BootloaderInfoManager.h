// L840 family: the real vendor and product ids are stored in the save info as they are.
#pragma once

#include "DevicePidAndMap.h"
#include "vexoraFirmware/IBootloaderInfoManager.h"

namespace libvxsensor {

class L840BootloaderInfoManager : public IBootloaderInfoManager {
public:
    // Always the bootloader pid: this family answers through getDeviceVidPid.
    uint16_t getDevicePid(vx_device_t* device, uint32_t packetSize) override;
    std::string getDeviceName() override;
    std::vector<uint8_t> getSaveInfoFromFlash(vx_device_t* device, uint32_t packetSize) override;

    // The vendor id in the low 16 bits, the product id in the high 16 bits.
    uint32_t getDeviceVidPid(vx_device_t* device, uint32_t packetSize);

    // What a save info naming (vid, pid) makes of the device: that identity when the tables
    // know it, else the bootloader's own (the save info is not trusted).
    static DeviceIds resolve(DeviceIds saved);

    // Whether the last save-info read failed on the link, as opposed to finding no usable
    // record: the bootloader identity then says nothing about the device.
    bool saveInfoReadFailed() const { return saveInfoReadFailed_; }

private:
    uint32_t packed() const {
        return static_cast<uint32_t>(vid) | (static_cast<uint32_t>(pid) << 16);
    }

    uint16_t vid = kVendorId;
    uint16_t pid = kBootloaderPid;
    bool saveInfoReadFailed_ = false;
};

}  // namespace libvxsensor
