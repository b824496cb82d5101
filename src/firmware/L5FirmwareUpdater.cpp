// The L5 family's update: identity (the real one in bootloader mode), product check, then up to
// five attempts at writing the image; only the last attempt's failure reaches the user.
#include "firmware/L5FirmwareUpdater.h"

#include <string>

#include "DevicePidAndMap.h"
#include "common/ByteOrder.h"
#include "common/DeviceInfo.h"
#include "common/VxExceptionExt.h"
#include "firmware/L5FirmwareParser.h"
#include "vendorcommand/VendorCommand.h"
#include "vexoraFirmware/L5BootloaderInfoManager.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kPacketSize = 768;
// The bootloader cannot take larger flash packets.
constexpr uint32_t kBootloaderPacketSize = 256;
constexpr int kAttempts = 5;

// The last state of the transfer as an upgrade state, with its message.
struct Outcome {
    VXUpgradeState state = VX_UPGRADE_STATE_FAILED;
    std::string message;

    // 4 counts as in every updater, where "transfer done" leaves the rest to the device.
    bool succeeded() const {
        return state == VX_UPGRADE_STATE_DONE || state == VX_UPGRADE_STATE_TRANSFERRING;
    }
};

// Progress goes to the user at once; failures are only kept, as a later attempt may succeed.
VendorCommand::SetDataCallback tracker(Outcome& outcome, const UpgradeCallback& callback) {
    return [&outcome, &callback](VXDataTranState s, uint8_t percent) {
        const auto keep = [&](VXUpgradeState state, const char* message) {
            outcome.state = state;
            outcome.message = message;
        };
        const auto report = [&](VXUpgradeState state, const char* message) {
            keep(state, message);
            callback(outcome.state, outcome.message.c_str(), percent);
        };
        switch (s) {
            case VX_DATA_TRAN_STATE_TRANSFERRING:
                return report(VX_UPGRADE_STATE_TRANSFERRING, "Firmware data transferring!");
            case VX_DATA_TRAN_STATE_VERIFYING:
                return report(VX_UPGRADE_STATE_VERIFYING, "Firmware data verifying!");
            case VX_DATA_TRAN_STATE_DONE:
                return report(VX_UPGRADE_STATE_DONE,
                              "Update successfully! Please reboot your device manually!");
            case VX_DATA_TRAN_STATE_VERIFY_DONE:
                return report(VX_UPGRADE_STATE_VERIFY_DONE, "Firmware data verify done!");
            case VX_DATA_TRAN_STATE_FAILED:
                return keep(VX_UPGRADE_STATE_TRANSFER_FAILED, "Firmware data transfer failed!");
            case VX_DATA_TRAN_STATE_VERIFY_FAILED:
                return keep(VX_UPGRADE_STATE_VERIFY_FAILED, "Firmware data verify failed!");
            default:
                return keep(VX_UPGRADE_STATE_FAILED, "Firmware update failed!");
        }
    };
}

}  // namespace

void L5FirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                       UpgradeCallback callback) {
    uint16_t pid = DeviceInfo(device).pid();
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
    const ByteView image = parser.image();

    // The state carries over from one attempt to the next; the message does not.
    Outcome outcome;
    const VendorCommand::SetDataCallback progress = tracker(outcome, callback);
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        outcome.message.clear();
        VendorCommand::writeFlash(device, address, image.data(),
                                  static_cast<uint32_t>(image.size()), progress, false,
                                  VendorCommand::VERIFY_READ_BACK, packetSize);
        if (outcome.succeeded()) {
            return;
        }
    }
    callback(outcome.state, outcome.message.c_str(), 0);
}

}  // namespace libvxsensor
