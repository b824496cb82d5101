/* The emulator's device plugin (vxsensor/vx_device_plugin.h) under a name of its own, for a
 * plugin that wraps it: one that names emulated cameras its own way, or adds to them; and the
 * replay source beside it. */
#ifndef VXSIM_PLUGIN_H
#define VXSIM_PLUGIN_H

#include "vxsensor/vx_device_plugin.h"

#ifdef __cplusplus
extern "C" {
#endif

const vx_device_plugin* vxsim_device_plugin(void);

/* The replay source: a device plugin whose camera is a recorded trace (vxsim/Replay.h); the
 * selector is the trace file. What vxfw --replay loads. Its host functions are the emulator's. */
const vx_device_plugin* vxsim_replay_plugin_entry(const char* options);
/* 1 when an open replay camera was asked exactly its recorded calls, in order, and all of them;
 * 0 otherwise (the plugin's report says where the run left the trace). */
int vxsim_replay_matched(vx_device_t* device);

#ifdef __cplusplus
}
#endif

#endif /* VXSIM_PLUGIN_H */
