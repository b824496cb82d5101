// The L840 family's update: the checks (identity, firmware line, date, write sizes), then each
// component that is to be written, in file order, with up to five attempts. A component that
// fails five times ends the call.
#include "firmware/L840FirmwareUpdater.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "DevicePidAndMap.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"
#include "firmware/DeviceFacts.h"
#include "firmware/FirmwareMessages.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/TransferAttempts.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr const char* kStageDoneMessage =
    "Firmware update completed! Please manually reboot your device, then perform the update "
    "again to finish";
// L845Se firmware built before this date must not be installed.
constexpr const char* kL845SeOldestDate = "20250408";
constexpr uint32_t kKovraARetryPauseMs = 2000;

// What the updater does with one component: it skips those meant for other products and the ISP
// firmware the device already runs (or any ISP part in bootloader mode), and writes the rest.
enum class Step { SkipUnfit, SkipIsp, WriteReadBack, WriteCrc32 };

// Everything the checks learnt, for the writes.
struct Plan {
    DeviceIds ids;
    bool bootloader = false;
    uint32_t packetSize = 0;
    std::string ispVersion;
    VXUpgradeState finalState = VX_UPGRADE_STATE_DONE;
    const char* finalMessage = firmwaremsg::kUpdateDone;
    std::optional<UnwrittenEnd> unwritten;
    std::optional<L840FirmwareParser> container;

    Step stepFor(const L840FirmwareData& component) const {
        if (!L840FirmwareParser::isFirmwareDataAdaptable(component, ids.pid)) {
            return Step::SkipUnfit;
        }
        if (!l840container::isIspAddress(component.flashAddress())) return Step::WriteReadBack;
        if (component.version() == ispVersion || bootloader) return Step::SkipIsp;
        return Step::WriteCrc32;
    }
};

bool writes(Step step) {
    return step == Step::WriteReadBack || step == Step::WriteCrc32;
}

void checkL845SeDate(DeviceIds ids, const std::string& dateTime) {
    if (!isInGroup(DeviceGroup::L845Se, ids)) {
        return;
    }
    // A date text that is not a valid date passes: only a known-old build is refused.
    if (vx_isValidDateTime(dateTime) && std::strncmp(dateTime.c_str(), kL845SeOldestDate, 8) < 0) {
        throw mismatch_firmware_exception_ext("The current firmware is invalid, dateTime: " +
                                              dateTime);
    }
}

// How the update ends when it writes nothing: silently without components; at the last
// component otherwise, well if that is an ISP part the camera already runs, refused if it does
// not fit the camera.
std::optional<UnwrittenEnd> unwrittenEnd(const L840Records& components, const Plan& plan) {
    if (components.empty()) return UnwrittenEnd{true, VX_UPGRADE_STATE_DONE, "", 0};
    Step last = Step::SkipUnfit;
    for (const L840FirmwareData& component : components) {
        last = plan.stepFor(component);
        if (writes(last)) return std::nullopt;
    }
    if (last == Step::SkipIsp) {
        return UnwrittenEnd{false, plan.finalState, plan.finalMessage, 100};
    }
    return UnwrittenEnd{false, VX_UPGRADE_STATE_MISMATCH, firmwaremsg::kIncompatible, 0};
}

Plan prepare(DeviceFacts& facts, ByteView data) {
    Plan plan;
    plan.ids = facts.ids();
    plan.packetSize = facts.packetSize();
    plan.ispVersion = facts.ispVersion();
    const L840FirmwareParser& container =
        plan.container.emplace(data.data(), static_cast<uint32_t>(data.size()));
    // The name in a refusal is the bootloader info's: a product only once it was learnt from
    // flash.
    DeviceIds named{kVendorId, kBootloaderPid};
    plan.bootloader = isBootloader(plan.ids);
    if (plan.bootloader) {
        const SavedIdentity saved = facts.l840SavedIdentity(plan.packetSize);
        // Without the real identity the device's own components would be skipped as not meant
        // for it, the firmware line would be judged against the bootloader instead of the
        // camera, and the update could still end "successfully": refuse before any write.
        if (saved.readFailed) {
            throw std::runtime_error(
                "Failed to read the device identity from flash in bootloader mode");
        }
        // Unlike a failed read, nothing a second run does changes this: the camera is refused,
        // as an L5-family bootloader without its identity is.
        if (isBootloader(saved.ids)) {
            throw unsupported_device_exception_ext(
                "The device identity saved in flash is not recognised in bootloader mode");
        }
        plan.ids = named = saved.ids;
    }
    const L840FirmwareFileHeader& header = container.getFileHeader();
    if (!acceptsFirmwareLine(plan.ids, header.serial())) {
        throw mismatch_firmware_exception_ext("Firmware mismatch for " + l840ProductName(named) +
                                              " : unmatched serial " + header.serial());
    }
    checkL845SeDate(plan.ids, header.dateTime());

    // The flash layer reads writeSize bytes of a component: what will be written must carry
    // them, all of it judged before the first write. What is skipped is never read.
    for (const L840FirmwareData& component : container.getFirmwareDataList()) {
        if (writes(plan.stepFor(component)) && component.writeSize() > component.data.size()) {
            throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
        }
    }
    // A bootloader update of these models only finishes the first stage.
    if (plan.bootloader && (isInGroup(DeviceGroup::L840Series, plan.ids) || isL815(plan.ids))) {
        plan.finalState = VX_UPGRADE_STATE_STAGE_DONE;
        plan.finalMessage = kStageDoneMessage;
    }
    plan.unwritten = unwrittenEnd(container.getFirmwareDataList(), plan);
    return plan;
}

// The component's own wording; its end is the update's end when it is the last.
TransferWording wordingFor(const std::string& name, bool last, const Plan& plan) {
    const std::string the = "The " + name;
    TransferWording w;
    w.transferring = the + " firmware data transferring!";
    w.verifying = the + " firmware data verifying!";
    w.verifyDone = the + " firmware data verify done!";
    w.doneState = last ? plan.finalState : VX_UPGRADE_STATE_TRANSFERRING;
    w.done = last ? plan.finalMessage : the + " firmware update done!";
    w.transferFailed = the + " firmware data transfer failed!";
    w.verifyFailed = the + " firmware data verify failed!";
    w.failed = the + " update failed!";
    return w;
}

}  // namespace

CheckResult L840FirmwareUpdater::check(DeviceFacts& facts, ByteView data) {
    const Plan plan = prepare(facts, data);
    CheckResult result{plan.unwritten, {}, plan.finalState};
    if (plan.unwritten) return result;
    for (const L840FirmwareData& component : plan.container->getFirmwareDataList()) {
        const Step step = plan.stepFor(component);
        if (!writes(step)) continue;
        result.writes.push_back(
            {component.name(), true, static_cast<uint32_t>(component.flashAddress()),
             component.writeSize(), plan.packetSize, step == Step::WriteReadBack});
    }
    return result;
}

void L840FirmwareUpdater::updateFirmware(vx_device_t* device, ByteView data,
                                         UpgradeCallback callback) {
    LiveDevice facts(device);
    const Plan plan = prepare(facts, data);
    if (plan.unwritten) {
        if (!plan.unwritten->silent) {
            callback(plan.unwritten->state, plan.unwritten->message.c_str(),
                     plan.unwritten->percent);
        }
        return;
    }
    const L840Records& components = plan.container->getFirmwareDataList();
    const AttemptRules rules{5, isInGroup(DeviceGroup::KovraA, plan.ids) ? kKovraARetryPauseMs : 0,
                             false};
    uint32_t index = 0;
    for (const L840FirmwareData& component : components) {
        const bool last = ++index == components.size();
        const Step step = plan.stepFor(component);
        if (!writes(step)) {
            // Skipped after what was written: the update has done its part.
            if (last) callback(plan.finalState, plan.finalMessage, 100);
            continue;
        }
        TransferAttempts attempts(callback, wordingFor(component.name(), last, plan), rules);
        const bool written = attempts.run([&] {
            VendorCommand::writeFlash(device, static_cast<uint32_t>(component.flashAddress()),
                                      component.data.data(), component.writeSize(),
                                      attempts.progress(), false,
                                      step == Step::WriteCrc32 ? VendorCommand::VERIFY_CRC32
                                                               : VendorCommand::VERIFY_READ_BACK,
                                      plan.packetSize);
            return false;
        });
        if (!written) return;
    }
}

}  // namespace libvxsensor
