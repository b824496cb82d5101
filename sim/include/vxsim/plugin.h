/* The emulator's device plugin (vxsensor/vx_device_plugin.h) under a name of its own, for a
 * plugin that wraps it: one that names emulated cameras its own way, or adds to them. */
#ifndef VXSIM_PLUGIN_H
#define VXSIM_PLUGIN_H

#include "vxsensor/vx_device_plugin.h"

#ifdef __cplusplus
extern "C" {
#endif

const vx_device_plugin* vxsim_device_plugin(void);

#ifdef __cplusplus
}
#endif

#endif /* VXSIM_PLUGIN_H */
