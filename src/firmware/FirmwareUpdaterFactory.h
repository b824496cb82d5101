// Chooses the firmware updater for a device from its vendor and product ids (and, in
// bootloader mode, from whether it answers the bootloader probe).
#pragma once

#include <memory>

#include "firmware/IFirmwareUpdater.h"

namespace libvxsensor {

class FirmwareUpdaterFactory {
public:
    // Never empty: an unknown device throws unsupported_device_exception_ext.
    static std::shared_ptr<IFirmwareUpdater> create(vx_device_t* device);
};

}  // namespace libvxsensor
