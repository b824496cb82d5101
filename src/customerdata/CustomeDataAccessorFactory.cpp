// The selection order of the customer-data accessors.
#include <memory>

#include "DevicePidAndMap.h"
#include "common/VxExceptionExt.h"
#include "customerdata/L840CustomDataAccessor.h"
#include "customerdata/L945SeCustomeDataAccessor.h"
#include "customerdata/OpenNICustomeDataAccessor.h"

namespace libvxsensor {

std::shared_ptr<ICustomeDataAccessor> CustomeDataAccessorFactory::create(vx_device_t* device) {
    switch (customerDataFamilyOf(readDeviceIds(device))) {
        case CustomerDataFamily::L840:
            return std::make_shared<L840CustomDataAccessor>();
        case CustomerDataFamily::L945Se:
            return std::make_shared<L945SeCustomeDataAccessor>();
        case CustomerDataFamily::OpenNI:
            return std::make_shared<OpenNICustomeDataAccessor>();
        case CustomerDataFamily::None:
            break;
    }
    // The message names the firmware updater although this is the customer-data factory; tools
    // match it word for word.
    throw unsupported_device_exception_ext("Unsupported device to create FirmwareUpdater!");
}

}  // namespace libvxsensor
