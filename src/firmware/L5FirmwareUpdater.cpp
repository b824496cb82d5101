// The L5 family's update: identity (the real one in bootloader mode), product check, then up to
// five attempts at writing the image, in small packets when the bootloader takes them.
#include "firmware/L5FirmwareUpdater.h"

#include <string>

#include "DevicePidAndMap.h"
#include "common/ByteOrder.h"
#include "common/DeviceInfo.h"
#include "common/VxExceptionExt.h"
#include "firmware/FlashImageWriter.h"
#include "firmware/L5FirmwareParser.h"
#include "vexoraFirmware/L5BootloaderInfoManager.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kPacketSize = 768;
// The bootloader cannot take larger flash packets.
constexpr uint32_t kBootloaderPacketSize = 256;

}  // namespace

void L5FirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                       UpgradeCallback callback) {
    uint16_t pid = readDeviceIds(device).pid;
    const L5FirmwareParser parser(data.data(), static_cast<uint32_t>(data.size()));
    const uint16_t filePid = readLe16(parser.getFileInfo() + kL5OffPid);
    L5BootloaderInfoManager bootloaderInfo;

    uint32_t packetSize = kPacketSize;
    if (pid == kBootloaderPid) {
        pid = bootloaderInfo.getDevicePid(device, kBootloaderPacketSize);
        if (pid == kBootloaderPid) {
            throw unsupported_device_exception_ext("Cannot get pid from bootloader mode.");
        }
        packetSize = kBootloaderPacketSize;
    }
    if (!parser.isFirmwareAdaptable(pid)) {
        // The name is the bootloader's (empty in normal mode) and the number is the file's, not
        // the device's: the text has always read so.
        throw mismatch_firmware_exception_ext("Invalid input file!\nFirmware mismatch for " +
                                              bootloaderInfo.getDeviceName() + " : unmatched pid " +
                                              std::to_string(filePid));
    }
    // Asked only after the product check, so a foreign image is a mismatch before a bad size.
    const uint32_t address = parser.getWriteAddress();
    writeFlashImage(device, address, parser.image(), packetSize, callback,
                    AttemptExceptions::EndTheUpdate);
}

}  // namespace libvxsensor
