/*
 * The host SDK's C interface as the extension library sees it: the types the two sides share and
 * the host functions the extension calls. The maker's host library implements these functions;
 * so does the camera emulator (libvxsensor_sim), which is how tests and tools run without hardware.
 *
 * Plain C, usable from C and C++, 32-bit and 64-bit clean.
 */
#ifndef VXSENSOR_VX_HOST_H
#define VXSENSOR_VX_HOST_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque host objects: only ever used through pointers. */
typedef struct vx_device vx_device_t;
typedef struct vx_device_info vx_device_info;
typedef struct vx_error vx_error;

/* C gives these enums an int; C++ is told so. Device status codes that the library passes on
 * unchanged are then values of the type in C++ as they are in C, and the layout is the same. */
#ifdef __cplusplus
#define VX_INT_ENUM : int
#else
#define VX_INT_ENUM
#endif

/* Progress of a data transfer (flash, raw data). */
typedef enum VXDataTranState VX_INT_ENUM {
    VX_DATA_TRAN_STATE_TRANSFERRING = 0,   /* one chunk transferred */
    VX_DATA_TRAN_STATE_VERIFYING = 1,      /* one chunk read back and found equal */
    VX_DATA_TRAN_STATE_DONE = 2,           /* the whole transfer is done */
    VX_DATA_TRAN_STATE_VERIFY_DONE = 4,    /* read-back verification passed */
    VX_DATA_TRAN_STATE_FAILED = -3,        /* a request failed; the transfer stopped */
    VX_DATA_TRAN_STATE_VERIFY_FAILED = -4, /* read-back verification failed */
    VX_DATA_TRAN_STATE_NONE = -5           /* never reported: "no state seen yet" */
} VXDataTranState;

/* Progress of a firmware or preset update, reported with a message and a percentage. */
typedef enum VXUpgradeState VX_INT_ENUM {
    VX_UPGRADE_STATE_STAGE_DONE = 7,           /* first stage finished: reboot and update again */
    VX_UPGRADE_STATE_DONE_WITH_DUPLICATES = 6, /* finished, duplicated presets ignored */
    VX_UPGRADE_STATE_VERIFY_DONE = 5,
    VX_UPGRADE_STATE_TRANSFERRING = 4,
    VX_UPGRADE_STATE_DONE = 3,
    VX_UPGRADE_STATE_DEVICE_INSTALLING = 2, /* a device-side install has started */
    VX_UPGRADE_STATE_READY = 1,             /* a preset update is about to start */
    VX_UPGRADE_STATE_VERIFYING = 0,
    VX_UPGRADE_STATE_VERIFY_FAILED = -1,
    VX_UPGRADE_STATE_DEVICE_FAILED = -2,
    VX_UPGRADE_STATE_CLEAR_FAILED = -3,
    VX_UPGRADE_STATE_DEVICE_ERROR = -4,
    VX_UPGRADE_STATE_FILE_SHORT_READ = -5,
    VX_UPGRADE_STATE_FAILED = -6,
    VX_UPGRADE_STATE_DEVICE_ABORTED = -7,
    VX_UPGRADE_STATE_TIMEOUT = -8,
    VX_UPGRADE_STATE_MISMATCH = -9,
    VX_UPGRADE_STATE_UNSUPPORTED_DEVICE = -10,
    VX_UPGRADE_STATE_INVALID_PRESET_COUNT = -11,
    VX_UPGRADE_STATE_FILE_UNREADABLE = -12,
    VX_UPGRADE_STATE_TRANSFER_FAILED = -13
} VXUpgradeState;

typedef enum VXLogSeverity {
    VX_LOG_SEVERITY_DEBUG = 0,
    VX_LOG_SEVERITY_INFO = 1,
    VX_LOG_SEVERITY_WARN = 2,
    VX_LOG_SEVERITY_ERROR = 3,
    VX_LOG_SEVERITY_FATAL = 4,
    VX_LOG_SEVERITY_OFF = 5
} VXLogSeverity;

/* One piece of data handed to a read callback. `data` is valid only during the callback. */
typedef struct VXDataChunk {
    uint8_t* data;
    uint32_t size;         /* bytes at data */
    uint32_t offset;       /* offset of this chunk within the transfer */
    uint32_t fullDataSize; /* total length of the transfer */
} VXDataChunk;

typedef union VXPropertyValue {
    int32_t intValue;
    float floatValue;
} VXPropertyValue;

typedef void (*vx_set_data_callback)(VXDataTranState state, uint8_t percent, void* user_data);
typedef void (*vx_get_data_callback)(VXDataTranState state, VXDataChunk* chunk, void* user_data);
typedef void (*vx_device_upgrade_callback)(VXUpgradeState state, const char* message,
                                           uint8_t percent, void* user_data);

/* ---- Functions the host provides ------------------------------------------------------------
 * Every function with a vx_error** argument sets *error to a new error object on failure; the
 * caller owns it and releases it with vx_delete_error. */

vx_device_info* vx_device_get_device_info(vx_device_t* device, vx_error** error);
int vx_device_info_get_vid(const vx_device_info* info, vx_error** error);
int vx_device_info_get_pid(const vx_device_info* info, vx_error** error);
/* Texts returned by the info getters stay valid until the info object is deleted. */
const char* vx_device_info_get_connection_type(const vx_device_info* info, vx_error** error);
const char* vx_device_info_get_firmware_version(const vx_device_info* info, vx_error** error);
void vx_delete_device_info(vx_device_info* info, vx_error** error);

/* One synchronous vendor exchange. *receive_data_size is in/out: on entry the capacity offered
 * at receive_data, on return the number of bytes received. */
void vx_device_send_and_receive_data(vx_device_t* device, const uint8_t* send_data,
                                     uint32_t send_data_size, uint8_t* receive_data,
                                     uint32_t* receive_data_size, vx_error** error);
void vx_device_get_structured_data(vx_device_t* device, uint32_t property_id, uint8_t* data,
                                   uint32_t* data_size, vx_error** error);
/* The returned text stays valid until the next call. */
const char* vx_device_get_extension_info(vx_device_t* device, const char* info_key,
                                         vx_error** error);

vx_error* vx_create_error(int status, const char* message, const char* function, const char* args,
                          int exception_type);
const char* vx_error_get_message(const vx_error* error);
const char* vx_error_get_function(const vx_error* error);
void vx_delete_error(vx_error* error);

void vx_log_external_message(VXLogSeverity severity, const char* module, const char* message,
                             const char* file, const char* function, int line, vx_error** error);

#ifdef __cplusplus
}
#endif

#endif /* VXSENSOR_VX_HOST_H */
