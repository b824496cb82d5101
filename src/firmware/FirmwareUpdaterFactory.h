// Chooses the firmware updater for a device from its vendor and product ids (and, in
// bootloader mode, from whether it answers the bootloader probe), and judges a file for a
// camera by the checks an update makes before it writes.
#pragma once

#include <memory>
#include <string>

#include "ExceptionTranslation.h"
#include "firmware/DeviceFacts.h"
#include "firmware/IFirmwareUpdater.h"

namespace libvxsensor {

class FirmwareUpdaterFactory {
public:
    // Never empty: an unknown device throws unsupported_device_exception_ext.
    static std::shared_ptr<IFirmwareUpdater> create(vx_device_t* device);
    static std::shared_ptr<IFirmwareUpdater> create(DeviceFacts& facts);
};

// What a firmware update of `data` would come to on the camera that `facts` tell of.
Verdict judgeFirmware(DeviceFacts& facts, ByteView data);

}  // namespace libvxsensor
