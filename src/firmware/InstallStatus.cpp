#include "firmware/InstallStatus.h"

#include "common/ByteOrder.h"
#include "common/Sleep.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kInstallStatusId = 1006;

}  // namespace

InstallStatusBytes readInstallStatusBytes(vx_device_t* device) {
    InstallStatusBytes raw{};
    uint32_t size = kInstallStatusSize;
    VendorCommand::getStructureData(device, kInstallStatusId, raw.data(), size, kInstallStatusSize);
    raw.back() = 0;
    return raw;
}

int16_t installStatusCode(const InstallStatusBytes& raw) {
    return static_cast<int16_t>(readLe16(raw.data()));
}

void waitForInstallStart(vx_device_t* device) {
    for (int poll = 0; poll < kInstallPolls; ++poll) {
        if (installStatusCode(readInstallStatusBytes(device)) == kInstallStarted) break;
        sleepMilliseconds(kInstallPollPauseMs);
    }
}

}  // namespace libvxsensor
