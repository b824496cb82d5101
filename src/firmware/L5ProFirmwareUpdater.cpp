// The L5Pro update: main firmware is checked against the device first; then up to five attempts,
// each a raw-data transfer followed by the camera's own install, which is polled until the
// camera reports the end. Preset packages are sent once and not followed.
#include "firmware/L5ProFirmwareUpdater.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>

#include "common/ByteOrder.h"
#include "common/Sleep.h"
#include "common/VxExceptionExt.h"
#include "firmware/DeviceFacts.h"
#include "firmware/FirmwareMessages.h"
#include "firmware/InstallStatus.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/TransferAttempts.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kFirmwareRawDataId = 4039;
constexpr uint32_t kPresetRawDataId = 4060;
constexpr uint32_t kPacketSize = 8152;

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

// Main firmware is an L840 container whose every component must fit the camera; the other kinds
// carry no product ids: the camera judges them.
std::optional<UnwrittenEnd> prepare(DeviceFacts& facts, ByteView data) {
    if (data.size() > std::numeric_limits<uint32_t>::max()) {
        throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
    }
    using Updater = L5ProFirmwareUpdater;
    if (Updater::isCompositeFirmwareFirmware(data) ||
        Updater::isComputingPowerBoardFirmware(data) || Updater::isPresetFirmware(data)) {
        return std::nullopt;
    }
    const uint16_t pid = facts.ids().pid;
    const L840FirmwareParser container(data.data(), static_cast<uint32_t>(data.size()));
    const L840Records& components = container.getFirmwareDataList();
    const bool fits =
        !components.empty() &&
        std::all_of(components.begin(), components.end(), [pid](const L840FirmwareData& c) {
            return L840FirmwareParser::isFirmwareDataAdaptable(c, pid);
        });
    if (fits) return std::nullopt;
    return UnwrittenEnd{false, VX_UPGRADE_STATE_MISMATCH, firmwaremsg::kIncompatible, 0};
}

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

CheckResult L5ProFirmwareUpdater::check(DeviceFacts& facts, ByteView data) {
    CheckResult result{prepare(facts, data), {}, VX_UPGRADE_STATE_DONE};
    if (!result.unwritten) {
        const bool preset = isPresetFirmware(data);
        result.writes.push_back({preset ? "preset package" : "image", false,
                                 preset ? kPresetRawDataId : kFirmwareRawDataId,
                                 static_cast<uint32_t>(data.size()), kPacketSize, false});
    }
    return result;
}

void L5ProFirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                          UpgradeCallback callback) {
    LiveDevice facts(device);
    if (const std::optional<UnwrittenEnd> end = prepare(facts, data)) {
        callback(end->state, end->message.c_str(), end->percent);
        return;
    }
    const bool preset = isPresetFirmware(data);
    // Not "done" at the end of the transfer: the camera still has to install the image. The
    // camera installs a preset package without reporting on it: one transfer only.
    TransferAttempts attempts(
        callback, imageWording(VX_UPGRADE_STATE_TRANSFERRING, "Firmware data transfer done!"),
        {preset ? 1 : 5, 0, false});
    attempts.run([&] {
        VendorCommand::setRawData(device, preset ? kPresetRawDataId : kFirmwareRawDataId,
                                  data.data(), static_cast<uint32_t>(data.size()),
                                  attempts.progress(), kPacketSize);
        return !preset && followInstall(device, callback);
    });
}

}  // namespace libvxsensor
