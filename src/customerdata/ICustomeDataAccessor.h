// The customer-data area of a camera: a few bytes the application stores and reads back. One
// accessor per family behind one interface (the interface's name is spelt as it always was).
#pragma once

#include <cstdint>
#include <memory>

#include "vxsensor/vx_host.h"

namespace libvxsensor {

class ICustomeDataAccessor {
public:
    virtual void writeCustomerData(vx_device_t* device, const void* data, uint32_t size) = 0;
    // *size on entry: the capacity of `data`, or 0 when the caller does not say; on return the
    // number of bytes copied.
    virtual void readCustomerData(vx_device_t* device, void* data, uint32_t* size) = 0;

protected:
    // Owned only through shared pointers of the concrete class.
    ~ICustomeDataAccessor() = default;
};

class CustomeDataAccessorFactory {
public:
    // Never empty: an unknown device throws unsupported_device_exception_ext.
    static std::shared_ptr<ICustomeDataAccessor> create(vx_device_t* device);
};

}  // namespace libvxsensor
