// The emulator's virtual clock, under the production shared library as an application links it:
// a camera that never finishes its install costs the library ten minutes of pauses, which take
// no time at all here.
#include <gtest/gtest.h>

#include <string>

#include "vxsensor/vx_extension.h"
#include "vxsim/Clock.h"
#include "vxsim/Install.h"
#include "vxsim/Models.h"

TEST(VirtualClock, PausesOfTheLibraryAddUpWithoutPassing) {
    auto cam = vxsim::makeCamera("miromax");
    vxsim::setInstallScript(*cam, vxsim::InstallScript().started().progress(10, "Installing"));
    const std::vector<uint8_t> package = [] {
        std::vector<uint8_t> p(300, 0);
        const std::string header = "QZTW";
        std::copy(header.begin(), header.end(), p.begin());
        const std::string platform = "jetson nano";
        std::copy(platform.begin(), platform.end(), p.begin() + 33);
        const std::string product = "miro max";
        std::copy(product.begin(), product.end(), p.begin() + 49);
        p[65] = 2;  // firmware
        return p;
    }();
    struct Seen {
        int last = 0;
    } seen;
    vxsim::setVirtualTime(true);
    vx_error* error = nullptr;
    vx_device_update_firmware_from_raw_data_ext(
        cam->handle(), package.data(), static_cast<uint32_t>(package.size()),
        [](VXUpgradeState state, const char*, uint8_t, void* self) {
            static_cast<Seen*>(self)->last = state;
        },
        false, &seen, &error);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(seen.last, VX_UPGRADE_STATE_TIMEOUT);
    // 1200 polls of the install, a half-second pause after each.
    EXPECT_DOUBLE_EQ(vxsim::virtualSeconds(), 600.0);
    vxsim::setVirtualTime(false);
}
