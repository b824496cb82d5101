// Small services shared by all modules: turning host error objects into exceptions.
#pragma once

#include "vxsensor/vx_host.h"

namespace libvxsensor {

// When a host call left an error object in *error: logs where and what, deletes the object and
// throws std::runtime_error with the host's message. *error is left dangling; do not reuse it.
void check_vx_error(vx_error** error);

}  // namespace libvxsensor
