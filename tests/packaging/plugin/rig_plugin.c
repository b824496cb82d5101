/* A lab rig of two cameras, "rig0" (an L840) and "rig1" (an L5), as a device plugin. A real
 * plugin would open the cameras with the maker's host SDK and fill `host` with that SDK's
 * functions; this one borrows the emulator's. */
#include <stdio.h>
#include <string.h>

#include "vxsensor/vx_device_plugin.h"
#include "vxsim/plugin.h"

static const vx_device_plugin* emulator(void) {
    return vxsim_device_plugin();
}

static const char* model_of(const char* selector) {
    if (selector == NULL || selector[0] == '\0' || strcmp(selector, "rig0") == 0) return "l840";
    if (strcmp(selector, "rig1") == 0) return "l5";
    return NULL;
}

static int rig_list(vx_device_found found, void* context, char* error_text, size_t error_size) {
    (void)error_text;
    (void)error_size;
    const vx_device_listing cameras[] = {
        {"rig0", "rig0  L840 on the left arm", 0x3A6E, 0x0800, "USB3.0", "1.7.16", NULL},
        {"rig1", "rig1  L5 on the right arm", 0x3A6E, 0x0670, "USB3.0", "1.2.20", NULL},
    };
    for (size_t i = 0; i < sizeof cameras / sizeof cameras[0]; ++i) found(&cameras[i], context);
    return 0;
}

static vx_device_t* rig_open(const char* selector, char* error_text, size_t error_size) {
    const char* model = model_of(selector);
    if (model == NULL) {
        snprintf(error_text, error_size, "no camera %s on this rig (rig0, rig1)", selector);
        return NULL;
    }
    return emulator()->open(model, error_text, error_size);
}

static const char* rig_describe(vx_device_t* device) {
    return emulator()->describe(device);
}

static int rig_close(vx_device_t* device, char* error_text, size_t error_size) {
    return emulator()->close(device, error_text, error_size);
}

static void rig_groups(vx_device_group_found found, void* context) {
    emulator()->device_groups(found, context);
}

const vx_device_plugin* vx_device_plugin_entry(const char* options) {
    (void)options;
    static vx_device_plugin plugin;
    plugin.abi_version = VX_DEVICE_PLUGIN_ABI;
    plugin.name = "lab rig";
    plugin.host = emulator()->host;
    plugin.list = rig_list;
    plugin.open = rig_open;
    plugin.describe = rig_describe;
    plugin.report = NULL;
    plugin.close = rig_close;
    plugin.device_groups = rig_groups;
    plugin.virtual_time = 1;
    return &plugin;
}
