// Self-installing cameras: a finished raw-data transfer restarts the scripted status sequence
// of structure 1006. The camera accepts any image; the script alone decides the outcome.
#include "vxsim/Install.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "vxsim/Wire.h"

namespace vxsim {
namespace {

constexpr int16_t kWorking = 1;
constexpr int16_t kStarted = 2;
constexpr int16_t kDone = kInstallDoneStatus;
constexpr size_t kMessageOffset = 4;

// Models the library serves with the L5Pro updater, and the MiroMax family.
bool hasSelfInstall(const ModelInfo& model, StatusLayout& layout, bool& presets) {
    if (model.family == Family::MiroMax) {
        layout = StatusLayout::MiroMax;
        presets = false;
        return true;
    }
    if (model.family == Family::L5Pro || model.name == "l945se") {
        layout = StatusLayout::L5Pro;
        presets = true;
        return true;
    }
    return false;
}

void arm(VirtualCamera& camera, StatusLayout layout, const InstallScript& script) {
    std::vector<std::vector<uint8_t>> reads;
    for (const InstallStatus& read : script.reads()) {
        reads.push_back(encodeInstallStatus(read, layout));
    }
    if (reads.empty()) reads.push_back(encodeInstallStatus({}, layout));
    // The camera outlives its own hooks, so the reference stays valid.
    const auto install = [&camera, reads](uint32_t, const std::vector<uint8_t>&) -> uint16_t {
        camera.setStructureSequence(kUpgradeStatusId, reads);
        return 0;
    };
    for (const uint32_t id : {kFirmwareImageId, kPresetPackageId}) {
        if (camera.hasRawDataObject(id)) camera.setRawDataHook(id, install);
    }
}

}  // namespace

InstallScript& InstallScript::working(uint32_t polls) {
    for (uint32_t i = 0; i < polls; ++i) status(kWorking, 0, "Preparing");
    return *this;
}

InstallScript& InstallScript::started(std::string message) {
    return status(kStarted, 0, std::move(message));
}

InstallScript& InstallScript::progress(int16_t percent, std::string message) {
    return status(kStarted, percent, std::move(message));
}

InstallScript& InstallScript::done(std::string message) {
    return status(kDone, 100, std::move(message));
}

InstallScript& InstallScript::failed(int16_t code, std::string message) {
    if (code >= 0) throw std::invalid_argument("a failed install reports a negative status");
    return status(code, 0, std::move(message));
}

InstallScript& InstallScript::status(int16_t code, int16_t percent, std::string message) {
    reads_.push_back({code, percent, std::move(message)});
    return *this;
}

InstallScript quickInstall() {
    return InstallScript().started().progress(50, "Installing firmware").done();
}

std::vector<uint8_t> encodeInstallStatus(const InstallStatus& status, StatusLayout layout) {
    std::vector<uint8_t> bytes;
    wire::putLe16(bytes, static_cast<uint16_t>(status.status));
    if (layout == StatusLayout::MiroMax) {
        wire::putLe16(bytes, static_cast<uint16_t>(status.percent));
    } else {
        bytes.push_back(static_cast<uint8_t>(status.percent));
        bytes.push_back(0);
    }
    bytes.resize(kUpgradeStatusSize, 0);
    const size_t length = std::min(status.message.size(), kUpgradeStatusSize - kMessageOffset - 1);
    std::copy_n(status.message.begin(), length, bytes.begin() + kMessageOffset);
    return bytes;
}

void addSelfInstall(VirtualCamera& camera, StatusLayout layout, bool presets,
                    const InstallScript& script) {
    camera.addRawDataObject(kFirmwareImageId, kInstallImageCapacity);
    if (presets) camera.addRawDataObject(kPresetPackageId, kInstallImageCapacity);
    camera.setStructure(kUpgradeStatusId, encodeInstallStatus({}, layout));
    arm(camera, layout, script);
}

void setInstallScript(EmulatedCamera& camera, const InstallScript& script) {
    StatusLayout layout{};
    bool presets = false;
    if (!hasSelfInstall(camera.model(), layout, presets)) {
        throw std::invalid_argument("model '" + camera.model().name +
                                    "' does not install its own updates");
    }
    arm(camera.camera(), layout, script);
}

void addSelfInstallFor(const ModelInfo& model, VirtualCamera& camera) {
    StatusLayout layout{};
    bool presets = false;
    if (hasSelfInstall(model, layout, presets)) addSelfInstall(camera, layout, presets);
}

void showStatusAfterBoot(EmulatedCamera& camera, bool installCutShort) {
    StatusLayout layout{};
    bool presets = false;
    if (!hasSelfInstall(camera.model(), layout, presets)) return;
    const InstallStatus status =
        installCutShort ? InstallStatus{kInstallCutShortStatus, 0,
                                        "Install interrupted by a power loss: nothing of it "
                                        "was installed; send it again"}
                        : InstallStatus{};
    camera.camera().setStructure(kUpgradeStatusId, encodeInstallStatus(status, layout));
}

}  // namespace vxsim
