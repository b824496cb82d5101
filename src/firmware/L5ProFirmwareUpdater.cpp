// The L5Pro update: main firmware is checked against the device first; then up to five attempts,
// each a raw-data transfer followed by the camera's own install, which is polled until the
// camera reports the end. Preset packages are sent once and not followed.
#include "firmware/L5ProFirmwareUpdater.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "common/ByteOrder.h"
#include "common/DeviceInfo.h"
#include "common/Sleep.h"
#include "common/VxExceptionExt.h"
#include "firmware/InstallStatus.h"
#include "firmware/L840FirmwareParser.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kFirmwareRawDataId = 4039;
constexpr uint32_t kPresetRawDataId = 4060;
constexpr uint32_t kPacketSize = 8152;
constexpr int kAttempts = 5;
constexpr const char* kIncompatibleMessage =
    "Update failed!\nIncompatible firmware file for current device!";
constexpr const char* kParseFailedMessage =
    "Parse firmware data failed!\nInvalid input data or data has been damaged";
constexpr const char* kUnknownWriteError = "FW update write exception:unknown";

bool startsWith(ByteView data, const char* prefix, size_t length) {
    return data.size() >= length && std::memcmp(data.data(), prefix, length) == 0;
}

struct InstallStatus {
    int16_t status = 0;
    uint8_t percent = 0;
    std::string message;
};

InstallStatus readInstallStatus(vx_device_t* device) {
    const InstallStatusBytes raw = readInstallStatusBytes(device);
    InstallStatus out;
    out.status = installStatusCode(raw);
    // The camera's percentage is not trusted to stay within 0..100.
    out.percent = std::min<uint8_t>(raw[kInstallStatusOffPercent], 100);
    const auto text = raw.begin() + kInstallStatusOffMessage;
    out.message.assign(text, std::find(text, raw.end(), uint8_t{0}));
    return out;
}

// Waits for the camera to take the image, then passes its reports on. True when the camera's
// report ended the update (done or failed).
bool followInstall(vx_device_t* device, const UpgradeCallback& callback) {
    waitForInstallStart(device);
    // A camera that never says it started is followed all the same: it may be installing.
    for (int poll = 0; poll < kInstallPolls; ++poll) {
        const InstallStatus s = readInstallStatus(device);
        // The camera's status word goes out unchanged: its codes belong to the device firmware.
        callback(static_cast<VXUpgradeState>(s.status), s.message.c_str(), s.percent);
        if (s.status < 0 || s.status == kInstallDone) return true;
        sleepMilliseconds(kInstallPollPauseMs);
    }
    return false;
}

bool fitsDevice(vx_device_t* device, ByteView data, uint32_t size) {
    const uint16_t pid = readDeviceIds(device).pid;
    const L840FirmwareParser container(data.data(), size);
    const L840Records& components = container.getFirmwareDataList();
    return !components.empty() &&
           std::all_of(components.begin(), components.end(), [pid](const L840FirmwareData& c) {
               return L840FirmwareParser::isFirmwareDataAdaptable(c, pid);
           });
}

// What the attempts share: the last transfer state and its message. Failures are kept, not
// reported, since the attempt may be retried.
class TransferState {
public:
    explicit TransferState(const UpgradeCallback& callback) : callback_(callback) {}

    void onTransfer(VXDataTranState s, uint8_t percent) {
        switch (s) {
            case VX_DATA_TRAN_STATE_TRANSFERRING:
                return progress(VX_UPGRADE_STATE_TRANSFERRING, "Firmware data transferring!",
                                percent);
            case VX_DATA_TRAN_STATE_VERIFYING:
                return progress(VX_UPGRADE_STATE_VERIFYING, "Firmware data verifying!", percent);
            case VX_DATA_TRAN_STATE_DONE:
                // Not "done": the camera still has to install the image.
                return progress(VX_UPGRADE_STATE_TRANSFERRING, "Firmware data transfer done!",
                                percent);
            case VX_DATA_TRAN_STATE_VERIFY_DONE:
                return progress(VX_UPGRADE_STATE_VERIFY_DONE, "Firmware data verify done!",
                                percent);
            case VX_DATA_TRAN_STATE_FAILED:
                return fail(VX_UPGRADE_STATE_TRANSFER_FAILED, "Firmware data transfer failed!");
            case VX_DATA_TRAN_STATE_VERIFY_FAILED:
                return fail(VX_UPGRADE_STATE_VERIFY_FAILED, "Firmware data verify failed!");
            default:
                return fail(VX_UPGRADE_STATE_FAILED, "Firmware update failed!");
        }
    }

    void fail(VXUpgradeState state, std::string message) {
        state_ = state;
        message_ = std::move(message);
    }

    // The transfer went through; what the camera does next is its own business.
    bool transferred() const {
        return state_ == VX_UPGRADE_STATE_DONE || state_ == VX_UPGRADE_STATE_TRANSFERRING;
    }

    void reportFailure() const { callback_(state_, message_.c_str(), 0); }

private:
    void progress(VXUpgradeState state, const char* message, uint8_t percent) {
        state_ = state;
        message_ = message;
        callback_(state_, message_.c_str(), percent);
    }

    const UpgradeCallback& callback_;
    VXUpgradeState state_ = VX_UPGRADE_STATE_FAILED;
    std::string message_;
};

}  // namespace

bool L5ProFirmwareUpdater::isCompositeFirmwareFirmware(ByteView data) {
    return startsWith(data, "PK\x03\x04", 4);
}

bool L5ProFirmwareUpdater::isComputingPowerBoardFirmware(ByteView data) {
    return startsWith(data, "OTRA", 4);
}

bool L5ProFirmwareUpdater::isPresetFirmware(ByteView data) {
    return startsWith(data, "VXPRESET", 8);
}

void L5ProFirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                          UpgradeCallback callback) {
    if (data.size() > std::numeric_limits<uint32_t>::max()) {
        throw mismatch_firmware_exception_ext(kParseFailedMessage);
    }
    const auto size = static_cast<uint32_t>(data.size());
    const bool preset = isPresetFirmware(data);
    // Composite packages and board images carry no product ids: the camera judges them.
    const bool mainFirmware =
        !isCompositeFirmwareFirmware(data) && !isComputingPowerBoardFirmware(data) && !preset;
    if (mainFirmware && !fitsDevice(device, data, size)) {
        callback(VX_UPGRADE_STATE_MISMATCH, kIncompatibleMessage, 0);
        return;
    }

    TransferState state(callback);
    const VendorCommand::SetDataCallback progress = [&state](VXDataTranState s, uint8_t percent) {
        state.onTransfer(s, percent);
    };
    const uint32_t property = preset ? kPresetRawDataId : kFirmwareRawDataId;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        try {
            VendorCommand::setRawData(device, property, data.data(), size, progress, kPacketSize);
            // The camera installs a preset package without reporting on it: one transfer only.
            if (preset) break;
            if (followInstall(device, callback)) return;
        } catch (const std::exception& e) {
            state.fail(VX_UPGRADE_STATE_FAILED, e.what());
        } catch (...) {
            state.fail(VX_UPGRADE_STATE_FAILED, kUnknownWriteError);
        }
        if (state.transferred()) return;
    }
    if (!state.transferred()) state.reportFailure();
}

}  // namespace libvxsensor
