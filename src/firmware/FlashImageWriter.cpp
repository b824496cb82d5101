#include "firmware/FlashImageWriter.h"

#include <exception>
#include <string>

#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

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

void writeFlashImage(vx_device_t* device, uint32_t address, ByteView image, uint32_t packetSize,
                     const UpgradeCallback& callback, AttemptExceptions exceptions) {
    // The state carries over from one attempt to the next; the message does not.
    Outcome outcome;
    const VendorCommand::SetDataCallback progress = tracker(outcome, callback);
    const auto write = [&] {
        VendorCommand::writeFlash(device, address, image.data(),
                                  static_cast<uint32_t>(image.size()), progress, false,
                                  VendorCommand::VERIFY_READ_BACK, packetSize);
    };
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        outcome.message.clear();
        if (exceptions == AttemptExceptions::EndTheUpdate) {
            write();
        } else {
            try {
                write();
            } catch (const std::exception& e) {
                outcome.state = VX_UPGRADE_STATE_FAILED;
                outcome.message = e.what();
            } catch (...) {
                outcome.state = VX_UPGRADE_STATE_FAILED;
                outcome.message = "FW update write exception:unknown";
            }
        }
        if (outcome.succeeded()) {
            return;
        }
    }
    callback(outcome.state, outcome.message.c_str(), 0);
}

}  // namespace libvxsensor
