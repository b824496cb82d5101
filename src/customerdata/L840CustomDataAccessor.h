// L840 series: at most 128 bytes, written only with firmware 1.7.16 or later.
#pragma once

#include "customerdata/ICustomeDataAccessor.h"

namespace libvxsensor {

class L840CustomDataAccessor : public ICustomeDataAccessor {
public:
    virtual ~L840CustomDataAccessor() = default;
    void writeCustomerData(vx_device_t* device, const void* data, uint32_t size) override;
    void readCustomerData(vx_device_t* device, void* data, uint32_t* size) override;
};

}  // namespace libvxsensor
