// The L840 customer-data rules: a size limit and a firmware gate on writing.
#include "customerdata/L840CustomDataAccessor.h"

#include "common/DeviceInfo.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"
#include "customerdata/CustomerDataTransfer.h"

namespace libvxsensor {

void L840CustomDataAccessor::writeCustomerData(vx_device_t* device, const void* data,
                                               uint32_t size) {
    if (size > 128) {
        throw unsupported_device_exception_ext(
            "The length of the written data is greater than 128 bytes!");
    }
    if (getFirmwareVersionInt(DeviceInfo(device).firmwareVersion()) < 10716) {
        throw unsupported_operation_exception_ext(
            "Write Custom data failed! The device firmware version is less than 1.7.16, please "
            "upgrade the device!");
    }
    writeCustomerDataArea(device, data, size, "Custom Data transfer failed!");
}

void L840CustomDataAccessor::readCustomerData(vx_device_t* device, void* data, uint32_t* size) {
    readCustomerDataArea(device, data, size, 128);
}

}  // namespace libvxsensor
