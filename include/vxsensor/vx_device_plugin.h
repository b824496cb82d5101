/*
 * A device plugin: how `vxfw` reaches cameras without being rebuilt. The host SDK has no call
 * that lists or opens cameras, so that part comes from whoever integrates the SDK on a board: a
 * shared object that exports one function, vx_device_plugin_entry, returning this table. The
 * camera emulator (libvxsensor_sim) is one such plugin; `vxfw --sim MODEL` is the shorthand for
 * loading it.
 *
 * The table also carries the host SDK's functions (vx_host.h) as the plugin's host library has
 * them: vxfw defines the host functions that the extension binds to and forwards every call to
 * these, which is where it counts exchanges, blocks writes in a dry run and records traces. A
 * plugin therefore builds against its host library normally and fills `host` with the addresses
 * of that library's functions.
 *
 * Versioning: a plugin sets abi_version to VX_DEVICE_PLUGIN_ABI as it was when it was built.
 * vxfw refuses a table of another version, and fields are only ever added at the end of a new
 * version.
 *
 * Everything runs on one thread. Texts a plugin hands out stay valid until its next call.
 */
#ifndef VXSENSOR_VX_DEVICE_PLUGIN_H
#define VXSENSOR_VX_DEVICE_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#include "vxsensor/vx_host.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VX_DEVICE_PLUGIN_ABI 1
#define VX_DEVICE_PLUGIN_ENTRY "vx_device_plugin_entry"

/* The host SDK's functions, as declared in vx_host.h. */
typedef struct vx_host_functions {
    vx_device_info* (*get_device_info)(vx_device_t* device, vx_error** error);
    int (*info_get_vid)(const vx_device_info* info, vx_error** error);
    int (*info_get_pid)(const vx_device_info* info, vx_error** error);
    const char* (*info_get_connection_type)(const vx_device_info* info, vx_error** error);
    const char* (*info_get_firmware_version)(const vx_device_info* info, vx_error** error);
    void (*delete_device_info)(vx_device_info* info, vx_error** error);
    void (*send_and_receive_data)(vx_device_t* device, const uint8_t* send_data,
                                  uint32_t send_data_size, uint8_t* receive_data,
                                  uint32_t* receive_data_size, vx_error** error);
    void (*get_structured_data)(vx_device_t* device, uint32_t property_id, uint8_t* data,
                                uint32_t* data_size, vx_error** error);
    const char* (*get_extension_info)(vx_device_t* device, const char* info_key, vx_error** error);
    vx_error* (*create_error)(int status, const char* message, const char* function,
                              const char* args, int exception_type);
    const char* (*error_get_message)(const vx_error* error);
    const char* (*error_get_function)(const vx_error* error);
    void (*delete_error)(vx_error* error);
    void (*log_external_message)(VXLogSeverity severity, const char* module, const char* message,
                                 const char* file, const char* function, int line,
                                 vx_error** error);
} vx_host_functions;

/* One camera the plugin can open. */
typedef struct vx_device_listing {
    const char* selector;    /* what vxfw --device takes to open it */
    const char* description; /* one line for people */
    uint16_t vid;
    uint16_t pid;
    const char* connection_type;
    const char* firmware_version;
    const char* isp_version; /* what the camera reports as "IspFwVer", or NULL */
} vx_device_listing;

typedef void (*vx_device_found)(const vx_device_listing* camera, void* context);
typedef void (*vx_device_group_found)(uint16_t group_type, const uint8_t* records, uint32_t size,
                                      void* context);

typedef struct vx_device_plugin {
    uint32_t abi_version; /* VX_DEVICE_PLUGIN_ABI */
    const char* name;     /* for people: "camera emulator", "lab rig" */
    const vx_host_functions* host;

    /* Calls `found` once for every camera the plugin can open now. 0 on success; otherwise the
     * plugin writes why into error_text (at most error_size bytes, terminated). */
    int (*list)(vx_device_found found, void* context, char* error_text, size_t error_size);

    /* Opens one camera by its selector (NULL or "": the only camera, or the plugin's default).
     * NULL on failure, with why in error_text. */
    vx_device_t* (*open)(const char* selector, char* error_text, size_t error_size);

    /* One line naming an open camera. */
    const char* (*describe)(vx_device_t* device);

    /* A few lines on what the camera saw during an operation (an emulator: the faults it
     * injected), or NULL when there is nothing to say. */
    const char* (*report)(vx_device_t* device);

    /* Releases an open camera (a plugin that keeps state saves it here). 0 on success;
     * otherwise why in error_text. */
    int (*close)(vx_device_t* device, char* error_text, size_t error_size);

    /* The device-group records (vx_set_device_info_data) the cameras the plugin serves need,
     * which only the integrator knows: calls `found` once per group. May be NULL. */
    void (*device_groups)(vx_device_group_found found, void* context);

    /* Non-zero when the cameras behind the plugin need no real time to pass (an emulator): the
     * extension's pauses between status polls may then be skipped. */
    int virtual_time;
} vx_device_plugin;

/* The one symbol a plugin exports. `options` is reserved and NULL. */
typedef const vx_device_plugin* (*vx_device_plugin_entry_fn)(const char* options);
const vx_device_plugin* vx_device_plugin_entry(const char* options);

#ifdef __cplusplus
}
#endif

#endif /* VXSENSOR_VX_DEVICE_PLUGIN_H */
