// L945Se customer data: the shared mechanism without extra rules.
#include "customerdata/L945SeCustomeDataAccessor.h"

#include "customerdata/CustomerDataTransfer.h"

namespace libvxsensor {

void L945SeCustomeDataAccessor::writeCustomerData(vx_device_t* device, const void* data,
                                                  uint32_t size) {
    writeCustomerDataArea(device, data, size, kCustomDataWriteFailed);
}

void L945SeCustomeDataAccessor::readCustomerData(vx_device_t* device, void* data, uint32_t* size) {
    readCustomerDataArea(device, data, size, 0);  // no known limit for this family
}

}  // namespace libvxsensor
