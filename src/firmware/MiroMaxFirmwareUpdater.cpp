// The MiroMax update: refusals first (connection, product, package kind, recovery mode), then the
// package is streamed chunk by chunk, and the camera's own install is followed for up to two
// rounds of 1200 polls. No retries: the camera keeps what it has received.
#include "firmware/MiroMaxFirmwareUpdater.h"

#include <algorithm>
#include <chrono>
#include <string>

#include "DevicePidAndMap.h"
#include "common/ByteOrder.h"
#include "common/Sleep.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"
#include "firmware/DeviceFacts.h"
#include "firmware/InstallStatus.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kFirmwareRawDataId = 4039;
constexpr uint32_t kChunkSize = 8152;
constexpr uint64_t kProgressIntervalMs = 500;

uint64_t nowMilliseconds() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

// The refusals, in this order, before anything is sent: the link, the product, the package
// kind, recovery mode.
void checkDevice(DeviceFacts& facts, const MiroMaxFirmwareFileHeader& header) {
    std::string connection;
    const uint16_t pid = facts.pidAndConnection(connection);
    if (connection != "Ethernet") {
        throw invalid_connection_type_ext(
            "Miro max device only support upgrade firmware via ethernet now!");
    }
    const std::optional<std::string> name = miroMaxProductName(pid);
    if (!name || vx_stricmp(*name, header.productName) != 0) {
        throw mismatch_firmware_exception_ext("Firmware mismatch, unsupported product name: " +
                                              header.productName);
    }
    if (header.firmwareType == kMiroMaxTypeApplication) {
        throw mismatch_firmware_exception_ext(
            "Parse firmware data failed!\nMiro Max doesn't support upgrade application now");
    }
    if (header.firmwareType != kMiroMaxTypeFirmware) {
        throw mismatch_firmware_exception_ext(
            "Parse firmware data failed!\nInvalid firmware type: " +
            std::to_string(header.firmwareType));
    }
    if (!facts.recoveryMode()) {
        throw libvxsensor_exception_ext("Please ensure that you have activated the recovery mode!",
                                        EXT_ERROR_GENERIC);
    }
}

// Progress is reported at most every half second, and always at the end, so a slow link does
// not flood the caller.
void streamPackage(vx_device_t* device, MiroMaxFirmwareParser& parser,
                   const UpgradeCallback& callback) {
    const uint32_t total = parser.getTotalSize();
    VendorCommand::RawDataChunkWriter writer(device, kFirmwareRawDataId, kChunkSize);
    uint64_t lastReport = 0;
    for (uint32_t remaining = total; remaining > 0;) {
        const uint32_t chunk = std::min(remaining, kChunkSize);
        const uint32_t offset = parser.getOffset();
        const uint8_t* data = parser.getData(chunk);
        if (data == nullptr) break;
        writer.writeMiroMaxFirmware(data, offset, chunk);
        const float percent =
            static_cast<float>(offset + chunk) * 100.0f / static_cast<float>(total);
        const auto reported = static_cast<uint8_t>(percent);
        const uint64_t now = nowMilliseconds();
        if (reported > 99 || now - lastReport > kProgressIntervalMs) {
            callback(VX_UPGRADE_STATE_TRANSFERRING, "Firmware file data transferring ...",
                     reported);
            lastReport = now;
        }
        remaining -= chunk;
    }
}

}  // namespace

CheckResult MiroMaxFirmwareUpdater::check(DeviceFacts& facts, ByteView data) {
    const MiroMaxFirmwareParser parser(data);
    checkDevice(facts, parser.getFileHeader());
    return {std::nullopt,
            {{"package", false, kFirmwareRawDataId, parser.getTotalSize(), kChunkSize, false}}};
}

void MiroMaxFirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                            UpgradeCallback callback) {
    MiroMaxFirmwareParser parser(data);
    updateProc(device, parser, callback);
}

void MiroMaxFirmwareUpdater::updateProc(vx_device_t* device, MiroMaxFirmwareParser& parser,
                                        const UpgradeCallback& callback) {
    LiveDevice facts(device);
    checkDevice(facts, parser.getFileHeader());

    VendorCommand::startToWriteRawData(device, kFirmwareRawDataId, parser.getTotalSize());
    callback(VX_UPGRADE_STATE_TRANSFERRING, "Start to transfer firmware file data", 0);
    streamPackage(device, parser, callback);
    VendorCommand::FinishWritingRawData(device, kFirmwareRawDataId);
    callback(VX_UPGRADE_STATE_DEVICE_INSTALLING, "Firmware file data is in progress ...", 0);

    waitForInstallStart(device);
    // A camera that never says it started is followed all the same: it may be installing.
    VXDeviceUpgradeStatus status;
    for (int poll = 0; poll < kInstallPolls; ++poll) {
        getUpdateState(device, status);
        const VXUpgradeState state = convertUpgradeStatus(status.status);
        // The camera's percentage is not trusted to stay within 0..100.
        const auto percent = static_cast<uint8_t>(std::clamp<int16_t>(status.percent, 0, 100));
        callback(state, status.message.data(), percent);
        if (state == VX_UPGRADE_STATE_DONE || state < 0) return;
        sleepMilliseconds(kInstallPollPauseMs);
    }
    callback(VX_UPGRADE_STATE_TIMEOUT, "wait for device upgrade timeout!", 0);
}

void MiroMaxFirmwareUpdater::getUpdateState(vx_device_t* device, VXDeviceUpgradeStatus& status) {
    const InstallStatusBytes raw = readInstallStatusBytes(device);
    status.status = installStatusCode(raw);
    status.percent = static_cast<int16_t>(readLe16(&raw[kInstallStatusOffPercent]));
    std::copy_n(raw.begin() + kInstallStatusOffMessage, status.message.size(),
                status.message.begin());
    status.message.back() = '\0';
}

VXUpgradeState MiroMaxFirmwareUpdater::convertUpgradeStatus(int16_t code) {
    if (code < VX_UPGRADE_STATE_TIMEOUT || code > VX_UPGRADE_STATE_VERIFY_DONE) {
        return VX_UPGRADE_STATE_FAILED;
    }
    return static_cast<VXUpgradeState>(code);
}

}  // namespace libvxsensor
