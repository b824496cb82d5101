// The C boundary: the functions the library exports.
#include "vxsensor/vx_extension.h"

extern "C" {

// The register entry points exist only so the host finds every symbol it looks up. They must
// stay inert: no argument is touched, no output written, no error set.
void vx_device_write_ahb(vx_device_t*, uint32_t, uint32_t, uint32_t, vx_error**) {}
void vx_device_read_ahb(vx_device_t*, uint32_t, uint32_t, uint32_t*, vx_error**) {}
void vx_device_write_i2c(vx_device_t*, uint32_t, uint32_t, uint32_t, uint32_t, vx_error**) {}
void vx_device_read_i2c(vx_device_t*, uint32_t, uint32_t, uint32_t, uint32_t*, vx_error**) {}

const char* vx_get_commit_hash(void) { return VXSENSOR_COMMIT_HASH; }

}  // extern "C"
