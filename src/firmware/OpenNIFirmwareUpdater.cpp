// The OpenNI update: up to five attempts at writing the image in small packets; anything thrown
// inside an attempt counts as a failed attempt, and only the last failure reaches the user.
#include "firmware/OpenNIFirmwareUpdater.h"

#include "common/DeviceInfo.h"
#include "firmware/FlashImageWriter.h"
#include "firmware/OpenNIFirmwareParser.h"

namespace libvxsensor {

namespace {

// Fixed for this family, not taken from the connection type.
constexpr uint32_t kPacketSize = 64;

}  // namespace

void OpenNIFirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                           UpgradeCallback callback) {
    // The identity is not needed, but reading it makes a host failure end the call before the
    // image is even looked at.
    static_cast<void>(readDeviceIds(device));
    const OpenNIFirmwareParser parser(data.data(), static_cast<uint32_t>(data.size()));
    const uint32_t address = parser.getWriteAddress();

    writeFlashImage(device, address, parser.image(), kPacketSize, callback,
                    AttemptExceptions::FailTheAttempt);
}

}  // namespace libvxsensor
