// L5 save info: 56 bytes at 0xA1000 (or 0xA2000), magic at 0, serial prefixes at 20 and 40.
#include "vexoraFirmware/L5BootloaderInfoManager.h"

#include "common/ByteOrder.h"
#include "common/LogExt.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kSaveInfoOffset = 0xA1000;
constexpr uint32_t kSaveInfoFallbackOffset = 0xA2000;
constexpr uint32_t kSaveInfoLength = 56;
constexpr uint32_t kSaveInfoMagic = 0x5AA5CDDC;
constexpr size_t kPrefixA = 20;
constexpr size_t kPrefixB = 40;

std::string prefixAt(const std::vector<uint8_t>& info, size_t offset) {
    return std::string(info.begin() + static_cast<std::ptrdiff_t>(offset),
                       info.begin() + static_cast<std::ptrdiff_t>(offset + 3));
}

}  // namespace

std::vector<uint8_t> L5BootloaderInfoManager::getSaveInfoFromFlash(vx_device_t* device,
                                                                   uint32_t packetSize) {
    std::vector<uint8_t> info;
    if (!readSaveInfoRecord(device, kSaveInfoOffset, kSaveInfoLength, packetSize, info)) {
        log_ext(VX_LOG_SEVERITY_ERROR, VX_SOURCE_LOC, "Failed to read flash chunk from offset: {}",
                kSaveInfoOffset);
        return {};
    }
    if (readLe32(info.data()) != kSaveInfoMagic) {
        log_ext(VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC, "Try to read flash chunk from offset: {}",
                kSaveInfoFallbackOffset);
        if (!readSaveInfoRecord(device, kSaveInfoFallbackOffset, kSaveInfoLength, packetSize,
                                info)) {
            log_ext(VX_LOG_SEVERITY_ERROR, VX_SOURCE_LOC,
                    "Failed to read flash chunk from offset: {}", kSaveInfoFallbackOffset);
            return {};
        }
        const uint32_t found = readLe32(info.data());
        if (found != kSaveInfoMagic) {
            log_ext(VX_LOG_SEVERITY_ERROR, VX_SOURCE_LOC,
                    "Invalid flash chunk data! Requested {} but {}", kSaveInfoMagic, found);
            return {};
        }
    }
    return info;
}

uint16_t L5BootloaderInfoManager::getDevicePid(vx_device_t* device, uint32_t packetSize) {
    if (pid != kBootloaderPid) {
        return pid;
    }
    const std::vector<uint8_t> info = getSaveInfoFromFlash(device, packetSize);
    if (info.empty()) {
        log_ext(VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC, "Save info is empty, use bootloader pid {}",
                kBootloaderPid);
        return kBootloaderPid;
    }
    const std::string prefixB = prefixAt(info, kPrefixB);
    const std::string prefixA = prefixAt(info, kPrefixA);
    std::optional<uint16_t> hit = l5PidForSerialPrefix(prefixB);
    if (!hit) {
        hit = l5PidForSerialPrefix(prefixA);
    }
    if (!hit) {
        log_ext(VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC, "Can't find the correct pid via sn {} and {}",
                prefixB, prefixA);
        return kBootloaderPid;
    }
    pid = *hit;
    log_ext(VX_LOG_SEVERITY_INFO, VX_SOURCE_LOC, "Find the real pid {}", pid);
    return pid;
}

std::string L5BootloaderInfoManager::getDeviceName() {
    return l5ProductName(pid);
}

}  // namespace libvxsensor
