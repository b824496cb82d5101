// The OpenNI update: up to five attempts at writing the image in small packets; anything thrown
// inside an attempt counts as a failed attempt, and only the last failure reaches the user.
#include "firmware/OpenNIFirmwareUpdater.h"

#include <exception>
#include <string>

#include "common/DeviceInfo.h"
#include "firmware/OpenNIFirmwareParser.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

// Fixed for this family, not taken from the connection type.
constexpr uint32_t kPacketSize = 64;
constexpr int kAttempts = 5;

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

void OpenNIFirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                           UpgradeCallback callback) {
    // The identity is not needed, but reading it makes a host failure end the call before the
    // image is even looked at.
    static_cast<void>(DeviceInfo(device).pid());
    const OpenNIFirmwareParser parser(data.data(), static_cast<uint32_t>(data.size()));
    const uint32_t address = parser.getWriteAddress();
    const ByteView image = parser.image();

    Outcome outcome;
    const VendorCommand::SetDataCallback progress = tracker(outcome, callback);
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        outcome.message.clear();
        try {
            VendorCommand::writeFlash(device, address, image.data(),
                                      static_cast<uint32_t>(image.size()), progress, false,
                                      VendorCommand::VERIFY_READ_BACK, kPacketSize);
        } catch (const std::exception& e) {
            outcome.state = VX_UPGRADE_STATE_FAILED;
            outcome.message = e.what();
        } catch (...) {
            outcome.state = VX_UPGRADE_STATE_FAILED;
            outcome.message = "FW update write exception:unknown";
        }
        if (outcome.succeeded()) {
            return;
        }
    }
    callback(outcome.state, outcome.message.c_str(), 0);
}

}  // namespace libvxsensor
