// OpenNI-protocol models: at most 32 bytes.
#pragma once

#include "customerdata/ICustomeDataAccessor.h"

namespace libvxsensor {

class OpenNICustomeDataAccessor : public ICustomeDataAccessor {
public:
    virtual ~OpenNICustomeDataAccessor() = default;
    void writeCustomerData(vx_device_t* device, const void* data, uint32_t size) override;
    void readCustomerData(vx_device_t* device, void* data, uint32_t* size) override;
};

}  // namespace libvxsensor
