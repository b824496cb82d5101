// Cameras that install their own updates: the host sends an image as raw data, and when the
// transfer finishes the camera installs it and reports through its upgrade-status structure.
// The catalog gives this to l5pro, l945se (objects 4039 and 4060) and miromax, ra-dk700v (4039)
// with a quick successful install; a test scripts its own:
//
//   auto cam = vxsim::makeCamera("l5pro");
//   vxsim::setInstallScript(*cam, vxsim::InstallScript().working(3).started()
//                                     .progress(40, "Writing flash").done("Upgrade success"));
//   ... run the update ...
//   EXPECT_EQ(cam->camera().rawData(vxsim::kFirmwareImageId), image);
//
// Structure 1006, 260 bytes: i16 status at 0 (2 install started, 3 done, negative failed, other
// values still working), the percentage at 2 (u8 on the L5Pro layout, i16 on the MiroMax one),
// a zero-terminated message of up to 255 characters at 4. Before the first finished transfer it
// reads as status 0, percentage 0, no message.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vxsim/Models.h"
#include "vxsim/VirtualCamera.h"

namespace vxsim {

constexpr uint32_t kFirmwareImageId = 4039;  // raw-data object: firmware images
constexpr uint32_t kPresetPackageId = 4060;  // raw-data object: preset packages
constexpr uint32_t kUpgradeStatusId = 1006;  // structure
constexpr uint32_t kUpgradeStatusSize = 260;
constexpr uint32_t kInstallImageCapacity = 32u << 20;  // room for 16 MiB images and more
constexpr int16_t kInstallDoneStatus = 3;
// What the status shows after a boot when the install under way lost its power.
constexpr int16_t kInstallCutShortStatus = -7;

// Where the percentage sits in the status structure.
enum class StatusLayout { L5Pro, MiroMax };

// One read of the status structure.
struct InstallStatus {
    int16_t status = 0;
    int16_t percent = 0;
    std::string message;  // cut to 255 characters when encoded
};

// The reads the camera shows after a finished transfer, in order; the last one repeats for
// ever. A script without started() never says it started; one without an end never finishes.
class InstallScript {
public:
    // `polls` reads of status 1: still preparing, not started.
    InstallScript& working(uint32_t polls);
    InstallScript& started(std::string message = "Upgrade started");
    // A read of status 2 with a percentage.
    InstallScript& progress(int16_t percent, std::string message);
    InstallScript& done(std::string message = "Upgrade success");  // status 3, percentage 100
    InstallScript& failed(int16_t status, std::string message);    // a negative status
    // Any read, for codes and percentages a camera should not send.
    InstallScript& status(int16_t status, int16_t percent, std::string message);

    const std::vector<InstallStatus>& reads() const { return reads_; }

private:
    std::vector<InstallStatus> reads_;
};

// started(), progress(50, "Installing firmware"), done(): what catalog cameras do.
InstallScript quickInstall();

std::vector<uint8_t> encodeInstallStatus(const InstallStatus& status, StatusLayout layout);

// Gives a camera the raw-data objects (4039, and 4060 when `presets`), the idle status structure
// and the install that `script` describes, run afresh after every finished transfer into either
// object. Calling it again starts over: empty objects, idle status.
void addSelfInstall(VirtualCamera& camera, StatusLayout layout, bool presets,
                    const InstallScript& script = quickInstall());

// Replaces the install of a catalog camera; objects and the current status stay as they are.
// std::invalid_argument for a model that does not install its own updates.
void setInstallScript(EmulatedCamera& camera, const InstallScript& script);

// The catalog's hook: self-install for the models that have it, nothing for the others.
void addSelfInstallFor(const ModelInfo& model, VirtualCamera& camera);

// The status a camera that installs its own updates shows after a boot: idle, or
// kInstallCutShortStatus when the install under way lost its power. Nothing for other models.
void showStatusAfterBoot(EmulatedCamera& camera, bool installCutShort);

}  // namespace vxsim
