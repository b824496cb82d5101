// The L5 family's update: identity (the real one in bootloader mode), product check, then up to
// five attempts at writing the image, in small packets when the bootloader takes them.
#include "firmware/L5FirmwareUpdater.h"

#include <string>

#include "DevicePidAndMap.h"
#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"
#include "firmware/DeviceFacts.h"
#include "firmware/FirmwareMessages.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/TransferAttempts.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kPacketSize = 768;
// The bootloader cannot take larger flash packets.
constexpr uint32_t kBootloaderPacketSize = 256;

struct Plan {
    ByteView image;
    uint32_t address;
    uint32_t packetSize;
};

Plan prepare(DeviceFacts& facts, ByteView data) {
    uint16_t pid = facts.ids().pid;
    const L5FirmwareParser parser(data.data(), static_cast<uint32_t>(data.size()));
    const uint16_t filePid = readLe16(parser.getFileInfo() + kL5OffPid);
    // The name is the bootloader info's: a product only once it was learnt from flash.
    uint16_t namedPid = kBootloaderPid;
    uint32_t packetSize = kPacketSize;
    if (pid == kBootloaderPid) {
        pid = facts.l5SavedPid(kBootloaderPacketSize);
        if (pid == kBootloaderPid) {
            throw unsupported_device_exception_ext("Cannot get pid from bootloader mode.");
        }
        namedPid = pid;
        packetSize = kBootloaderPacketSize;
    }
    if (!parser.isFirmwareAdaptable(pid)) {
        // The number is the file's, not the device's: the text has always read so.
        throw mismatch_firmware_exception_ext("Invalid input file!\nFirmware mismatch for " +
                                              l5ProductName(namedPid) + " : unmatched pid " +
                                              std::to_string(filePid));
    }
    // Asked only after the product check, so a foreign image is a mismatch before a bad size.
    return {parser.image(), parser.getWriteAddress(), packetSize};
}

}  // namespace

CheckResult L5FirmwareUpdater::check(DeviceFacts& facts, ByteView data) {
    const Plan plan = prepare(facts, data);
    return {std::nullopt,
            {{"image", true, plan.address, static_cast<uint32_t>(plan.image.size()),
              plan.packetSize, true}}};
}

void L5FirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                       UpgradeCallback callback) {
    LiveDevice facts(device);
    const Plan plan = prepare(facts, data);
    TransferAttempts attempts(callback,
                              imageWording(VX_UPGRADE_STATE_DONE, firmwaremsg::kUpdateDone),
                              {5, 0, /*exceptionEndsUpdate=*/true});
    attempts.run([&] {
        VendorCommand::writeFlash(device, plan.address, plan.image.data(),
                                  static_cast<uint32_t>(plan.image.size()), attempts.progress(),
                                  false, VendorCommand::VERIFY_READ_BACK, plan.packetSize);
        return false;
    });
}

}  // namespace libvxsensor
