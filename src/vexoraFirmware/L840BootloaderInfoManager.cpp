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
    const DeviceIds resolved =
        resolve({readLe16(info.data() + kVidOffset), readLe16(info.data() + kPidOffset)});
    vid = resolved.vid;
    pid = resolved.pid;
    return packed();
}

DeviceIds L840BootloaderInfoManager::resolve(DeviceIds saved) {
    if (saved.vid == 0x0000 || saved.vid == 0xFFFF) {
        saved.vid = kVendorId;  // erased or never written
    }
    if (isInGroup(DeviceGroup::KovraA, saved) || isInGroup(DeviceGroup::L840AndKovraA, saved)) {
        return saved;
    }
    if (isL815(saved)) {
        return saved;
    }
    // Anything else is not trusted: the bootloader identity stays.
    return {kVendorId, kBootloaderPid};
}

std::string L840BootloaderInfoManager::getDeviceName() {
    return l840ProductName({vid, pid});
}

}  // namespace libvxsensor
