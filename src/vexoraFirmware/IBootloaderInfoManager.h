// A camera in its bootloader enumerates with the generic bootloader identity; its real model is
// recovered from a save-info record that the normal firmware left in flash.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vxsensor/vx_host.h"

namespace libvxsensor {

class IBootloaderInfoManager {
public:
    virtual ~IBootloaderInfoManager() = default;
    virtual uint16_t getDevicePid(vx_device_t* device, uint32_t packetSize) = 0;
    virtual std::string getDeviceName() = 0;
    // Empty when no usable save info exists.
    virtual std::vector<uint8_t> getSaveInfoFromFlash(vx_device_t* device, uint32_t packetSize) = 0;
};

// Reads a save-info record of `length` bytes at `offset`. The record is only taken when it
// arrives in one chunk; smaller chunks leave the buffer zero. Returns false when a read failed.
bool readSaveInfoRecord(vx_device_t* device, uint32_t offset, uint32_t length, uint32_t packetSize,
                        std::vector<uint8_t>& record);

}  // namespace libvxsensor
