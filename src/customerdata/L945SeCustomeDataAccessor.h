// L945Se models and the L5Pro model: no size limit, no firmware gate.
#pragma once

#include "customerdata/ICustomeDataAccessor.h"

namespace libvxsensor {

class L945SeCustomeDataAccessor : public ICustomeDataAccessor {
public:
    virtual ~L945SeCustomeDataAccessor() = default;
    void writeCustomerData(vx_device_t* device, const void* data, uint32_t size) override;
    void readCustomerData(vx_device_t* device, void* data, uint32_t* size) override;
};

}  // namespace libvxsensor
