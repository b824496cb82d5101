// The OpenNI update: up to five attempts at writing the image in small packets; anything thrown
// inside an attempt counts as a failed attempt, and only the last failure reaches the user.
#include "firmware/OpenNIFirmwareUpdater.h"

#include "firmware/DeviceFacts.h"
#include "firmware/FirmwareMessages.h"
#include "firmware/OpenNIFirmwareParser.h"
#include "firmware/TransferAttempts.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

// Fixed for this family, not taken from the connection type.
constexpr uint32_t kPacketSize = 64;

OpenNIFirmwareParser prepare(DeviceFacts& facts, ByteView data) {
    // The identity is not needed, but reading it makes a host failure end the call before the
    // image is even looked at.
    static_cast<void>(facts.ids());
    return OpenNIFirmwareParser(data.data(), static_cast<uint32_t>(data.size()));
}

}  // namespace

CheckResult OpenNIFirmwareUpdater::check(DeviceFacts& facts, ByteView data) {
    const OpenNIFirmwareParser parser = prepare(facts, data);
    return {std::nullopt,
            {{"image", true, parser.getWriteAddress(), static_cast<uint32_t>(parser.image().size()),
              kPacketSize, true}}};
}

void OpenNIFirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                           UpgradeCallback callback) {
    LiveDevice facts(device);
    const OpenNIFirmwareParser parser = prepare(facts, data);
    const uint32_t address = parser.getWriteAddress();
    TransferAttempts attempts(callback,
                              imageWording(VX_UPGRADE_STATE_DONE, firmwaremsg::kUpdateDone), {});
    attempts.run([&] {
        VendorCommand::writeFlash(device, address, parser.image().data(),
                                  static_cast<uint32_t>(parser.image().size()), attempts.progress(),
                                  false, VendorCommand::VERIFY_READ_BACK, kPacketSize);
        return false;
    });
}

}  // namespace libvxsensor
