// L5 family: the real product id follows from the serial-number prefixes in the save info.
#pragma once

#include "DevicePidAndMap.h"
#include "vexoraFirmware/IBootloaderInfoManager.h"

namespace libvxsensor {

class L5BootloaderInfoManager : public IBootloaderInfoManager {
public:
    uint16_t getDevicePid(vx_device_t* device, uint32_t packetSize) override;
    std::string getDeviceName() override;
    std::vector<uint8_t> getSaveInfoFromFlash(vx_device_t* device, uint32_t packetSize) override;

private:
    uint16_t pid = kBootloaderPid;
};

}  // namespace libvxsensor
