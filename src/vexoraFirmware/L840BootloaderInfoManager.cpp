// L840 save info: 87 bytes at 0xA1000, vendor id at 32, product id at 34.
#include "vexoraFirmware/L840BootloaderInfoManager.h"

#include "common/ByteOrder.h"

namespace libvxsensor {

namespace {
constexpr uint32_t kSaveInfoOffset = 0xA1000;
constexpr uint32_t kSaveInfoLength = 87;
constexpr size_t kVidOffset = 32;
constexpr size_t kPidOffset = 34;
}  // namespace

uint16_t L840BootloaderInfoManager::getDevicePid(vx_device_t*, uint32_t) {
    return kBootloaderPid;
}

std::vector<uint8_t> L840BootloaderInfoManager::getSaveInfoFromFlash(vx_device_t* device,
                                                                     uint32_t packetSize) {
    std::vector<uint8_t> info;
    saveInfoReadFailed_ =
        !readSaveInfoRecord(device, kSaveInfoOffset, kSaveInfoLength, packetSize, info);
    if (saveInfoReadFailed_) {
        return {};
    }
    return info;
}

uint32_t L840BootloaderInfoManager::getDeviceVidPid(vx_device_t* device, uint32_t packetSize) {
    if (vid != kVendorId || pid != kBootloaderPid) {
        return packed();
    }
    const std::vector<uint8_t> info = getSaveInfoFromFlash(device, packetSize);
    if (info.empty()) {
        return packed();
    }
    uint16_t savedVid = readLe16(info.data() + kVidOffset);
    const uint16_t savedPid = readLe16(info.data() + kPidOffset);
    if (savedVid == 0x0000 || savedVid == 0xFFFF) {
        savedVid = kVendorId;  // erased or never written
    }
    if (isDeviceInContainer(KovraADevPids, savedVid, savedPid) ||
        isDeviceInContainer(L840AndKovraADevPids, savedVid, savedPid)) {
        vid = savedVid;
        pid = savedPid;
    } else if (savedVid == kVendorId && isPidValid(savedPid, L815DevPids)) {
        pid = savedPid;
    }
    // Anything else is not trusted: the bootloader identity stays.
    return packed();
}

std::string L840BootloaderInfoManager::getDeviceName() {
    for (const DeviceInfoEntry& entry : L840DevicePidToName) {
        if (entry.vid == vid && entry.pid == pid) {
            return entry.nameText();
        }
    }
    return {};
}

}  // namespace libvxsensor
