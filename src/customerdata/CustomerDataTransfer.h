// The raw-data mechanism every customer-data accessor uses (property 1052): the transfer's last
// state decides success, its message becomes the error.
#pragma once

#include "customerdata/ICustomeDataAccessor.h"

namespace libvxsensor {

// What a failed write transfer says, unless a family has its own text for it.
inline constexpr const char* kCustomDataWriteFailed = "Custom Data write failed!";

// Throws std::runtime_error with the last state's message unless the transfer ended done.
// `transferFailedMessage` is the family's text for a failed request.
void writeCustomerDataArea(vx_device_t* device, const void* data, uint32_t size,
                           const char* transferFailedMessage);
// `familyArea` bounds what the device may send when the caller names no capacity (0: no bound).
void readCustomerDataArea(vx_device_t* device, void* data, uint32_t* size, uint32_t familyArea);

}  // namespace libvxsensor
