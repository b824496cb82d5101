// The selection order of the customer-data accessors.
#include <memory>

#include "DevicePidAndMap.h"
#include "common/DeviceInfo.h"
#include "common/VxExceptionExt.h"
#include "customerdata/L840CustomDataAccessor.h"
#include "customerdata/L945SeCustomeDataAccessor.h"
#include "customerdata/OpenNICustomeDataAccessor.h"

namespace libvxsensor {

namespace {
constexpr uint16_t kL5ProPid = 0x0671;
}

std::shared_ptr<ICustomeDataAccessor> CustomeDataAccessorFactory::create(vx_device_t* device) {
    const auto [vid, pid] = readDeviceIds(device);
    if (isDeviceInContainer(L840SeriesDevPids, vid, pid)) {
        return std::make_shared<L840CustomDataAccessor>();
    }
    // The L5Pro model uses the L945Se mechanism.
    if ((vid == kVendorId && pid == kL5ProPid) || isDeviceInContainer(L945SeDevPids, vid, pid)) {
        return std::make_shared<L945SeCustomeDataAccessor>();
    }
    if (vid == kVendorId && isPidValid(pid, OpenNIDevPids)) {
        return std::make_shared<OpenNICustomeDataAccessor>();
    }
    // The message names the firmware updater although this is the customer-data factory; tools
    // match it word for word.
    throw unsupported_device_exception_ext("Unsupported device to create FirmwareUpdater!");
}

}  // namespace libvxsensor
