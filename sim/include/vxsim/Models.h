// A catalog of camera models, so a test or tool asks for a whole camera in one line:
//
//   auto cam = vxsim::makeCamera("l840,conn=GMSL2,fw=1.7.16");
//   vx_device_t* device = cam->handle();           // hand it to the library
//   cam->camera().setProperty(133, 0);             // the virtual camera behind it
//   cam->faults().disappearAfter(50);              // its fault plan (empty at first)
//   double s = cam->device().modelledSeconds();    // time on the modelled link
//
// Description: a model name, then comma-separated options:
//   conn=TEXT     connection type reported (default per model); a preset name ("USB2.0",
//                 "USB3.0", "GMSL2", "Ethernet") also sets the link model
//   fw=TEXT       firmware version reported
//   boot          bootloader mode (L840 and L5 families, openni); also the models
//                 l840-boot, l5-boot and openni-boot
//   flash=SIZE    flash size: bytes, hex (0x...) or with K/M suffix (KiB/MiB), 8M..256M
//   isp=TEXT      the "IspFwVer" extension info
//   saveinfo=fallback   an L5-family bootloader keeps its save info at 0xA2000, not 0xA1000
// An unknown model or option, or an option the model cannot take, throws
// std::invalid_argument naming it.
//
// Camera families known to the library only through run-time device-group tables (l840,
// kovra-a, l845se, l945se) are recognised once the host registers their records:
//
//   for (const auto& [group, records] : vxsim::groupRecords())
//       vx_set_device_info_data(group, records.data(), records.size(), &error);
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vxsim/Emulator.h"
#include "vxsim/Faults.h"
#include "vxsim/VirtualCamera.h"

namespace vxsim {

// Ids and places the models use.
constexpr uint32_t kRecoveryModeProperty = 133;
constexpr uint32_t kCustomerDataId = 1052;  // raw-data object
// L840-family cameras keep optional depth presets in one flash area: setting property 213
// erases it, setting 214 closes an upload. Preset files name addresses inside it.
constexpr uint32_t kPresetClearProperty = 213;
constexpr uint32_t kPresetFinishProperty = 214;
constexpr uint32_t kPresetAreaOffset = 0x7F0000;
constexpr uint32_t kPresetAreaSize = 0x10000;
constexpr uint32_t kBootloaderInfoId = 1063;  // host structured data, L840 bootloaders
constexpr uint32_t kSaveInfoOffset = 0xA1000;
constexpr uint32_t kSaveInfoFallbackOffset = 0xA2000;
constexpr uint32_t kL5SaveInfoMagic = 0x5AA5CDDC;
constexpr size_t kL840SaveInfoSize = 87;  // bytes 32-33 real vid, 34-35 real pid (LE16)
constexpr size_t kL5SaveInfoSize = 56;    // 0-3 magic, 20-22 and 40-42 serial prefixes

enum class Family { L840, L815, L5, L5Pro, OpenNI, MiroMax };

struct ModelInfo {
    std::string name;         // as written in a description: "l840"
    std::string productName;  // "Lumex 840"
    uint16_t vid = 0x3A6E;
    uint16_t pid = 0;
    std::string connection = "USB3.0";
    std::string firmware;
    std::string ispVersion;  // the "IspFwVer" extension info; empty: the camera reports none
    Family family = Family::L840;
    uint16_t bootloaderPid = 0;          // 0: no bootloader mode emulated
    uint32_t customerDataCapacity = 0;   // capacity of raw-data 1052; 0: the model has none
    std::string serialPrefix;            // L5 family: the save-info serial prefix
    std::vector<uint16_t> deviceGroups;  // run-time device-group tables that list the model
};

const std::vector<ModelInfo>& modelCatalog();
// std::invalid_argument for an unknown name (aliases such as "l840-boot" are not models).
const ModelInfo& findModel(const std::string& name);
// Every name makeCamera accepts, aliases included.
std::vector<std::string> modelNames();
// One line per name for listings: name, product, vid:pid, connection, firmware, extras.
std::vector<std::string> modelDescriptions();

// Device-group records as vx_set_device_info_data takes them, one entry per group type:
// 0 L840 series, 2 L845Se, 3 KovraA, 4 L840 and KovraA, 6 L945Se (4-byte records: vid LE16,
// pid LE16) and 5 product names (68-byte records: vid LE16, pid LE16, 64-byte NUL-terminated
// name). The whole catalog, or only the groups that list one model.
using GroupRecords = std::vector<std::pair<uint16_t, std::vector<uint8_t>>>;
GroupRecords groupRecords();
GroupRecords groupRecords(const std::string& modelName);

class BootRecords;

// A catalog camera: the emulated device, the virtual camera answering it and a fault plan in
// between (empty until rules are added). Boot records in front of the camera keep what its
// boot depends on (vxsim/Boot.h).
class EmulatedCamera {
public:
    EmulatedCamera(ModelInfo model, bool bootloader, Identity identity,
                   std::shared_ptr<VirtualCamera> camera);

    Device& device() { return device_; }
    vx_device_t* handle() { return device_.handle(); }
    VirtualCamera& camera() { return *camera_; }
    const VirtualCamera& camera() const { return *camera_; }
    const std::shared_ptr<VirtualCamera>& sharedCamera() const { return camera_; }
    FaultPlan& faults() { return *faults_; }
    const ModelInfo& model() const { return model_; }
    bool bootloader() const { return bootloader_; }

    // Runs the bootloader (its product id; the L840 family's bootloader answers its probe) or
    // the main firmware. std::invalid_argument for a model without a bootloader mode.
    void setBootloaderMode(bool on);
    BootRecords& boot() { return *boot_; }
    const BootRecords& boot() const { return *boot_; }
    // Power off and on: the camera boots what its flash allows.
    void reboot();
    // The camera answers exchanges up to the n-th (from 1), then loses its power with its flash
    // as it is; reboot() brings it back.
    void cutPowerAfter(uint64_t n);

private:
    ModelInfo model_;
    bool bootloader_;
    Device device_;
    std::shared_ptr<VirtualCamera> camera_;
    std::shared_ptr<BootRecords> boot_;
    std::shared_ptr<FaultPlan> faults_;
};

std::unique_ptr<EmulatedCamera> makeCamera(const std::string& description);

}  // namespace vxsim
