// The L840 family's update: preparation (identity, serial and date rules), then each component
// that fits the device is written with up to five attempts. One call handles the components in
// file order; a component that fails five times ends the call.
#include "firmware/L840FirmwareUpdater.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "DevicePidAndMap.h"
#include "common/DeviceInfo.h"
#include "common/Sleep.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"
#include "firmware/L840FirmwareParser.h"
#include "vendorcommand/VendorCommand.h"
#include "vexoraFirmware/L840BootloaderInfoManager.h"

namespace libvxsensor {

namespace {

constexpr const char* kDoneMessage = "Update successfully! Please reboot your device manually!";
constexpr const char* kStageDoneMessage =
    "Firmware update completed! Please manually reboot your device, then perform the update "
    "again to finish";
constexpr const char* kIncompatibleMessage =
    "Update failed!\nIncompatible firmware file for current device!";
constexpr const char* kUnknownWriteError = "FW update write exception:unknown";
// L845Se firmware built before this date must not be installed.
constexpr const char* kL845SeOldestDate = "20250408";
constexpr int kAttempts = 5;
constexpr uint32_t kKovraARetryPauseMs = 2000;

bool isIspAddress(uint64_t address) {
    return address == 0x500000 || address == 0x580000 || address == 0x5D0000;
}

std::string ispVersionOf(vx_device_t* device) {
    vx_error* error = nullptr;
    const char* text = vx_device_get_extension_info(device, "IspFwVer", &error);
    if (error != nullptr) {
        vx_delete_error(error);  // a device without an ISP version is not an error
        return {};
    }
    return text != nullptr ? text : "";
}

void checkSerial(uint16_t vid, uint16_t pid, const std::string& serial, const std::string& name) {
    const bool refused =
        (isDeviceInContainer(KovraADevPids, vid, pid) && KovraAValidFwSerials.count(serial) == 0) ||
        (isDeviceInContainer(L840SeriesDevPids, vid, pid) &&
         L840ValidFwSerials.count(serial) == 0) ||
        (vid == kVendorId && isPidValid(pid, L815DevPids) && L815ValidFwSerials.count(serial) == 0);
    if (refused) {
        throw mismatch_firmware_exception_ext("Firmware mismatch for " + name +
                                              " : unmatched serial " + serial);
    }
}

void checkL845SeDate(uint16_t vid, uint16_t pid, const std::string& dateTime) {
    if (!isDeviceInContainer(L845SeDevPids, vid, pid)) {
        return;
    }
    // A date text that is not a valid date passes: only a known-old build is refused.
    if (vx_isValidDateTime(dateTime) && std::strncmp(dateTime.c_str(), kL845SeOldestDate, 8) < 0) {
        throw mismatch_firmware_exception_ext("The current firmware is invalid, dateTime: " +
                                              dateTime);
    }
}

// What the updater does with one component: it skips those meant for other products and the ISP
// firmware the device already runs (or any ISP part in bootloader mode), and writes the rest.
enum class Plan { SkipUnfit, SkipIsp, WriteReadBack, WriteCrc32 };

struct Rules {
    uint16_t pid;
    bool bootloader;
    std::string ispVersion;

    Plan planFor(const L840FirmwareData& component) const {
        if (!L840FirmwareParser::isFirmwareDataAdaptable(component, pid)) return Plan::SkipUnfit;
        if (!isIspAddress(component.flashAddress())) return Plan::WriteReadBack;
        if (component.version() == ispVersion || bootloader) return Plan::SkipIsp;
        return Plan::WriteCrc32;
    }
};

// The flash layer reads writeSize bytes of a component; a file that claims more than it carries
// must not make it read past the data. Only what will be written is judged, and all of it before
// the first write.
void checkWriteSizes(const L840Records& components, const Rules& rules) {
    for (const L840FirmwareData& component : components) {
        const Plan plan = rules.planFor(component);
        const bool written = plan == Plan::WriteReadBack || plan == Plan::WriteCrc32;
        if (written && component.writeSize() > component.data.size()) {
            throw mismatch_firmware_exception_ext(l840container::kMsgDamaged);
        }
    }
}

// What one call keeps while it works through the components.
class Session {
public:
    Session(vx_device_t* device, const UpgradeCallback& callback, uint32_t packetSize,
            VXUpgradeState finalState, std::string finalMessage, size_t count)
        : device_(device),
          callback_(callback),
          packetSize_(packetSize),
          finalState_(finalState),
          finalMessage_(std::move(finalMessage)),
          count_(count) {}

    void reportFinal() { callback_(finalState_, finalMessage_.c_str(), 100); }

    // A component that fits no device: only the last one says so.
    void skipUnfit(size_t index) {
        if (index != count_) return;
        if (lastTransferDone_) {
            reportFinal();
        } else {
            callback_(VX_UPGRADE_STATE_MISMATCH, kIncompatibleMessage, 0);
        }
    }

    // Writes one component; false when it failed five times (already reported).
    bool write(const L840FirmwareData& component, size_t index,
               VendorCommand::WriteFlashVerifyMode mode, bool kovraA) {
        const Messages messages(component.name());
        const VendorCommand::SetDataCallback progress = [&](VXDataTranState s, uint8_t percent) {
            onTransfer(s, percent, messages, index);
        };
        state_ = VX_UPGRADE_STATE_FAILED;
        for (int attempt = 1; attempt <= kAttempts; ++attempt) {
            message_.clear();
            try {
                VendorCommand::writeFlash(device_, static_cast<uint32_t>(component.flashAddress()),
                                          component.data.data(), component.writeSize(), progress,
                                          false, mode, packetSize_);
            } catch (const std::exception& e) {
                fail(VX_UPGRADE_STATE_FAILED, e.what());
            } catch (...) {
                fail(VX_UPGRADE_STATE_FAILED, kUnknownWriteError);
            }
            if (state_ == finalState_ || state_ == VX_UPGRADE_STATE_TRANSFERRING) {
                return true;
            }
            if (attempt < kAttempts && kovraA) {
                sleepMilliseconds(kKovraARetryPauseMs);
            }
        }
        callback_(state_, message_.c_str(), 0);
        return false;
    }

private:
    // A component's texts, made once per component rather than once per packet.
    struct Messages {
        explicit Messages(const std::string& name)
            : transferring("The " + name + " firmware data transferring!"),
              verifying("The " + name + " firmware data verifying!"),
              verifyDone("The " + name + " firmware data verify done!"),
              updateDone("The " + name + " firmware update done!"),
              verifyFailed("The " + name + " firmware data verify failed!"),
              transferFailed("The " + name + " firmware data transfer failed!"),
              updateFailed("The " + name + " update failed!") {}
        std::string transferring, verifying, verifyDone, updateDone, verifyFailed, transferFailed,
            updateFailed;
    };

    void onTransfer(VXDataTranState s, uint8_t percent, const Messages& messages, size_t index) {
        switch (s) {
            case VX_DATA_TRAN_STATE_TRANSFERRING:
                return progress(VX_UPGRADE_STATE_TRANSFERRING, messages.transferring, percent);
            case VX_DATA_TRAN_STATE_VERIFYING:
                return progress(VX_UPGRADE_STATE_VERIFYING, messages.verifying, percent);
            case VX_DATA_TRAN_STATE_VERIFY_DONE:
                return progress(VX_UPGRADE_STATE_VERIFY_DONE, messages.verifyDone, percent);
            case VX_DATA_TRAN_STATE_DONE:
                lastTransferDone_ = true;
                if (index < count_) {
                    return progress(VX_UPGRADE_STATE_TRANSFERRING, messages.updateDone, percent);
                }
                return progress(finalState_, finalMessage_, percent);
            case VX_DATA_TRAN_STATE_VERIFY_FAILED:
                return fail(VX_UPGRADE_STATE_VERIFY_FAILED, messages.verifyFailed);
            case VX_DATA_TRAN_STATE_FAILED:
                return fail(VX_UPGRADE_STATE_TRANSFER_FAILED, messages.transferFailed);
            default:
                return fail(VX_UPGRADE_STATE_FAILED, messages.updateFailed);
        }
    }

    // Assigned, not rebuilt: after the first packet the kept text's storage is reused.
    void progress(VXUpgradeState state, const std::string& message, uint8_t percent) {
        state_ = state;
        message_ = message;
        callback_(state_, message_.c_str(), percent);
    }

    // Failures are kept, not reported: the attempt may be retried.
    void fail(VXUpgradeState state, const std::string& message) {
        state_ = state;
        message_ = message;
        lastTransferDone_ = false;
    }

    vx_device_t* device_;
    const UpgradeCallback& callback_;
    uint32_t packetSize_;
    VXUpgradeState finalState_;
    std::string finalMessage_;
    size_t count_;
    VXUpgradeState state_ = VX_UPGRADE_STATE_FAILED;
    std::string message_;
    bool lastTransferDone_ = false;
};

}  // namespace

void L840FirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                         UpgradeCallback callback) {
    auto [vid, pid] = readDeviceIds(device);
    const uint32_t packetSize = VendorCommand::packetSizeForConnection(device);
    const std::string ispVersion = ispVersionOf(device);

    const L840FirmwareParser container(data.data(), static_cast<uint32_t>(data.size()));
    const L840FirmwareFileHeader& header = container.getFileHeader();
    L840BootloaderInfoManager bootloaderInfo;

    const bool bootloader = vid == kVendorId && pid == kBootloaderPid;
    if (bootloader) {
        const uint32_t real = bootloaderInfo.getDeviceVidPid(device, packetSize);
        vid = static_cast<uint16_t>(real & 0xFFFF);
        pid = static_cast<uint16_t>(real >> 16);
        // Without the real identity the device's own components would be skipped as not meant
        // for it, the serial rules would judge the bootloader instead of the camera, and the
        // update could still end "successfully": refuse before anything is written.
        if (bootloaderInfo.saveInfoReadFailed()) {
            throw std::runtime_error(
                "Failed to read the device identity from flash in bootloader mode");
        }
        if (vid == kVendorId && pid == kBootloaderPid) {
            throw std::runtime_error(
                "The device identity saved in flash is not recognised in bootloader mode");
        }
    }
    checkSerial(vid, pid, header.serial(), bootloaderInfo.getDeviceName());
    checkL845SeDate(vid, pid, header.dateTime());

    const L840Records& components = container.getFirmwareDataList();
    const Rules rules{pid, bootloader, ispVersion};
    checkWriteSizes(components, rules);
    // A bootloader update of these models only finishes the first stage.
    const bool twoStages = bootloader && (isDeviceInContainer(L840SeriesDevPids, vid, pid) ||
                                          (vid == kVendorId && isPidValid(pid, L815DevPids)));
    Session session(device, callback, packetSize,
                    twoStages ? VX_UPGRADE_STATE_STAGE_DONE : VX_UPGRADE_STATE_DONE,
                    twoStages ? kStageDoneMessage : kDoneMessage, components.size());
    const bool kovraA = isDeviceInContainer(KovraADevPids, vid, pid);

    size_t index = 0;
    for (const L840FirmwareData& component : components) {
        ++index;
        switch (rules.planFor(component)) {
            case Plan::SkipUnfit:
                session.skipUnfit(index);
                break;
            case Plan::SkipIsp:
                if (index == components.size()) {
                    session.reportFinal();
                    return;
                }
                break;
            case Plan::WriteReadBack:
                if (!session.write(component, index, VendorCommand::VERIFY_READ_BACK, kovraA)) {
                    return;
                }
                break;
            case Plan::WriteCrc32:
                if (!session.write(component, index, VendorCommand::VERIFY_CRC32, kovraA)) {
                    return;
                }
                break;
        }
    }
}

}  // namespace libvxsensor
