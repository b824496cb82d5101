// OpenNI customer data: a 32-byte limit (its message has no "bytes" and ends with a full stop).
#include "customerdata/OpenNICustomeDataAccessor.h"

#include "common/VxExceptionExt.h"
#include "customerdata/CustomerDataTransfer.h"

namespace libvxsensor {

void OpenNICustomeDataAccessor::writeCustomerData(vx_device_t* device, const void* data,
                                                  uint32_t size) {
    if (size > 32) {
        throw unsupported_device_exception_ext(
            "The length of the written data is greater than 32.");
    }
    writeCustomerDataArea(device, data, size, kCustomDataWriteFailed);
}

void OpenNICustomeDataAccessor::readCustomerData(vx_device_t* device, void* data, uint32_t* size) {
    readCustomerDataArea(device, data, size, 32);
}

}  // namespace libvxsensor
