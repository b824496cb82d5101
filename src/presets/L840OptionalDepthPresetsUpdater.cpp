// The L840 preset upload: refusals before any traffic (count, firmware, bootloader, files), then
// clear, write each record with up to five attempts, finish. Transfer failures are reported
// through the callback; there is no rollback.
#include "presets/L840OptionalDepthPresetsUpdater.h"

#include <stdexcept>
#include <string>
#include <unordered_set>

#include "DevicePidAndMap.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr int kAttempts = 5;

// Optional presets need a firmware that knows them; the first matching family decides.
void checkFirmware(DeviceIds ids, const std::string& firmware) {
    const std::optional<FirmwareMinimum> minimum = presetFirmwareMinimum(ids);
    if (!minimum) {
        throw unsupported_device_exception_ext("Unsupported device!");
    }
    if (getFirmwareVersionInt(firmware) < minimum->version) {
        throw unsupported_device_exception_ext(
            std::string("Unsupported device! Firmware version must be >= ") + minimum->text);
    }
}

// writeFlash reports device failures through its callback; here they become exceptions so the
// record is retried and, in the end, reported instead of passing as written.
void writeRecord(vx_device_t* device, const L840OptionalDepthPresetsData& record,
                 uint32_t packetSize) {
    VXDataTranState failure = VX_DATA_TRAN_STATE_NONE;
    VendorCommand::writeFlash(
        // Preset files give a 32-bit address; the four bytes after it are not interpreted.
        device, static_cast<uint32_t>(record.flashAddress()), record.data.data(),
        record.writeSize(),
        [&failure](VXDataTranState state, uint8_t) {
            if (state == VX_DATA_TRAN_STATE_FAILED || state == VX_DATA_TRAN_STATE_VERIFY_FAILED) {
                failure = state;
            }
        },
        false, VendorCommand::VERIFY_READ_BACK, packetSize);
    if (failure == VX_DATA_TRAN_STATE_FAILED) {
        throw std::runtime_error("Custom preset data transfer failed!");
    }
    if (failure == VX_DATA_TRAN_STATE_VERIFY_FAILED) {
        throw std::runtime_error("Custom preset data verify failed!");
    }
}

// The flash layer reads writeSize bytes of a record; a file that claims more than it carries is
// damaged and refused before the preset area is touched.
void checkWriteSizes(const std::vector<std::shared_ptr<L840OptionalDepthPresetsParser>>& parsers) {
    for (const auto& parser : parsers) {
        for (const L840OptionalDepthPresetsData& record : parser->getDataList()) {
            if (record.writeSize() > record.data.size()) {
                throw mismatch_firmware_exception_ext(l840presets::kMsgDamaged);
            }
        }
    }
}

}  // namespace

std::vector<std::shared_ptr<L840OptionalDepthPresetsParser>>
L840OptionalDepthPresetsUpdater::checkAndGetPresetParserList(
    const std::vector<std::vector<uint8_t>>& presets, uint16_t pid) {
    std::vector<std::shared_ptr<L840OptionalDepthPresetsParser>> accepted;
    std::unordered_set<uint32_t> seen;
    for (const std::vector<uint8_t>& file : presets) {
        auto parser = std::make_shared<L840OptionalDepthPresetsParser>(
            file.data(), static_cast<uint32_t>(file.size()), pid);
        if (parser->getDataList().empty()) {
            throw mismatch_firmware_exception_ext(
                "Preset data is not adaptable with the current device, pid: " +
                std::to_string(pid));
        }
        const std::string product = parser->getFileHeader().productName();
        if (!isPresetProduct(product)) {
            throw mismatch_firmware_exception_ext("Preset data product mismatch: " + product);
        }
        bool repeat = false;
        for (const L840OptionalDepthPresetsData& record : parser->getDataList()) {
            // Checksums of the file's earlier records stay seen even when the file is dropped.
            if (!seen.insert(record.checksum()).second) {
                repeat = true;
                break;
            }
        }
        if (!repeat) {
            accepted.push_back(std::move(parser));
        }
    }
    return accepted;
}

L840OptionalDepthPresetsUpdater::Plan L840OptionalDepthPresetsUpdater::prepare(
    DeviceFacts& facts, const std::vector<std::vector<uint8_t>>& presets) {
    if (presets.empty() || presets.size() > 3) {
        throw invalid_preset_count_ext("The number of preset file must be 1~3!");
    }
    Plan plan;
    plan.ids = facts.ids();
    plan.packetSize = facts.packetSize();
    checkFirmware(plan.ids, facts.firmwareVersion());
    // Deliberately after the firmware gate: a bootloader reports no usable firmware version.
    if (plan.ids.pid == kBootloaderPid) {
        throw unsupported_device_exception_ext("Unsupported device in bootloader mode!");
    }
    plan.parsers = checkAndGetPresetParserList(presets, plan.ids.pid);
    if (plan.parsers.empty()) {
        throw mismatch_firmware_exception_ext("All preset file data is mismatched!");
    }
    checkWriteSizes(plan.parsers);
    return plan;
}

CheckResult L840OptionalDepthPresetsUpdater::check(
    DeviceFacts& facts, const std::vector<std::vector<uint8_t>>& presets) {
    const Plan plan = prepare(facts, presets);
    CheckResult result;
    unsigned fileNumber = 0;
    for (const auto& parser : plan.parsers) {
        ++fileNumber;
        unsigned recordNumber = 0;
        for (const L840OptionalDepthPresetsData& record : parser->getDataList()) {
            ++recordNumber;
            result.writes.push_back({"preset file " + std::to_string(fileNumber) + " record " +
                                         std::to_string(recordNumber),
                                     true, static_cast<uint32_t>(record.flashAddress()),
                                     record.writeSize(), plan.packetSize, true});
        }
    }
    return result;
}

void L840OptionalDepthPresetsUpdater::updateOptionalDepthPresets(
    vx_device_t* device, const std::vector<std::vector<uint8_t>>& presets,
    UpgradeCallback callback) {
    LiveDevice facts(device);
    const Plan plan = prepare(facts, presets);
    const auto& parsers = plan.parsers;

    callback(VX_UPGRADE_STATE_READY, "Ready to update custom preset...", 0);
    if (!VendorCommand::clearOptionalDepthPresets(device)) {
        callback(VX_UPGRADE_STATE_CLEAR_FAILED, "Failed to clear the custom preset", 0);
        return;
    }
    const auto step = static_cast<uint8_t>(100 / (parsers.size() + 2));
    uint8_t progress = step;
    callback(VX_UPGRADE_STATE_TRANSFERRING, "Start to transfer the custom preset file data",
             progress);

    unsigned fileNumber = 0;
    for (const auto& parser : parsers) {
        ++fileNumber;
        for (const L840OptionalDepthPresetsData& record : parser->getDataList()) {
            std::string lastError;
            bool written = false;
            for (int attempt = 0; attempt < kAttempts && !written; ++attempt) {
                try {
                    writeRecord(device, record, plan.packetSize);
                    written = true;
                } catch (const std::exception& e) {
                    lastError = e.what();
                    callback(VX_UPGRADE_STATE_FAILED, lastError.c_str(), progress);
                } catch (...) {
                    lastError = "Custom preset update write exception: unknown";
                    callback(VX_UPGRADE_STATE_FAILED, lastError.c_str(), progress);
                }
            }
            if (!written) {
                const std::string message =
                    "Failed to write custom preset file " + std::to_string(fileNumber) +
                    " after retries, aborting upgrade. last error: " + lastError;
                callback(VX_UPGRADE_STATE_FAILED, message.c_str(), progress);
                return;
            }
        }
        progress = static_cast<uint8_t>(progress + step);
        const std::string done =
            "Completed data transfer for custom preset file " + std::to_string(fileNumber);
        callback(VX_UPGRADE_STATE_TRANSFERRING, done.c_str(), progress);
    }

    if (!VendorCommand::FinishUpgradingOptionalDepthPresets(device)) {
        callback(VX_UPGRADE_STATE_FAILED, "Failed to finish upgrading the custom preset", progress);
        return;
    }
    if (parsers.size() == presets.size()) {
        callback(VX_UPGRADE_STATE_DONE, "Update successfully!", 100);
    } else {
        callback(VX_UPGRADE_STATE_DONE_WITH_DUPLICATES,
                 "Update successfully! Duplicated presets have been ignored", 100);
    }
}

}  // namespace libvxsensor
