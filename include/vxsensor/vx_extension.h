/*
 * The functions libvxsensor_ext exports: maintenance operations on a camera opened through the
 * host SDK (firmware update, optional depth presets, customer data, raw flash) and the filling of
 * the library's device-group tables. Exactly these 13 symbols are exported.
 *
 * Plain C, usable from C and C++. Every call runs to its end on the caller's thread; callbacks
 * are called on that thread before the function returns. Nothing is locked: do not run two
 * operations on one device at once, and fill the device-group tables before device work starts.
 *
 * Error objects stored in a vx_error** belong to the caller, who releases them with
 * vx_delete_error. A pointer to a text given to a callback is valid only during the callback.
 */
#ifndef VXSENSOR_VX_EXTENSION_H
#define VXSENSOR_VX_EXTENSION_H

#include <stdbool.h>
#include <stdint.h>

#include "vxsensor/vx_host.h"

#if defined(VXSENSOR_EXT_BUILDING) && defined(__GNUC__)
#define VX_EXT_API __attribute__((visibility("default")))
#else
#define VX_EXT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Raw flash ------------------------------------------------------------------------------
 * Packet size follows the connection type (232 bytes on GMSL2, 560 on Ethernet, 480 otherwise,
 * 768 when the host cannot tell; at most 512 for devices of the L845Se group). Neither function
 * catches exceptions: a host failure while sizing packets reaches the (C++) caller as an
 * exception. Device failures are reported through the callback only. `async` is passed through
 * and has no effect. A null callback is accepted: nothing is reported. */

/* Erases [offset, offset + data_size), writes `data`, and verifies it by reading it back.
 * Callback: (0 transferring, percent) per chunk; (1 verifying, percent) per chunk read back
 * equal; (4 verify done, 100); (2 done, 100). On failure the transfer stops with one report:
 * (-3 failed, 0) for a refused or lost request, (-4 verify failed, percent) per differing chunk
 * and a final (-4, 0). */
VX_EXT_API void vx_device_write_flash(vx_device_t* device, uint32_t offset, const void* data,
                                      uint32_t data_size, vx_set_data_callback cb, bool async,
                                      void* user_data);

/* Reads [offset, offset + data_size). Callback: (0, chunk) per chunk, chunk->offset counted from
 * `offset`; then (2, chunk with no data and offset == data_size). On a failed request:
 * (-3, chunk with no data and the offset reached), and the read stops. */
VX_EXT_API void vx_device_read_flash(vx_device_t* device, uint32_t offset, uint32_t data_size,
                                     vx_get_data_callback cb, bool async, void* user_data);

/* ---- Register access: present so the host finds every symbol it looks up; they do nothing:
 * no argument is read, no output written, no error set. ------------------------------------- */

VX_EXT_API void vx_device_write_ahb(vx_device_t* device, uint32_t reg, uint32_t mask,
                                    uint32_t value, vx_error** error);
VX_EXT_API void vx_device_read_ahb(vx_device_t* device, uint32_t reg, uint32_t mask,
                                   uint32_t* value, vx_error** error);
VX_EXT_API void vx_device_write_i2c(vx_device_t* device, uint32_t module_id, uint32_t reg,
                                    uint32_t mask, uint32_t value, vx_error** error);
VX_EXT_API void vx_device_read_i2c(vx_device_t* device, uint32_t module_id, uint32_t reg,
                                   uint32_t mask, uint32_t* value, vx_error** error);

/* The source revision the library was built from: static text, the same pointer on every call;
 * do not free it. */
VX_EXT_API const char* vx_get_commit_hash(void);

/* ---- Firmware update ------------------------------------------------------------------------
 * The updater is chosen by the device's vendor and product ids (and, in bootloader mode, by what
 * the device's flash and bootloader tell). The update runs to its end before the function
 * returns; `async` is accepted and ignored. A null callback is accepted.
 *
 * Callback states (VXUpgradeState) with a message and a percent:
 *   4 transferring, 0 verifying, 5 verify done        progress of a component or image
 *   3 done                                            the update finished: reboot the device
 *   7 first stage done                                bootloader update of an L840-series or
 *                                                     L815 camera: reboot and update again
 *   device states (-8..5)                             L5Pro and MiroMax cameras install the image
 *                                                     themselves and report their own progress
 * A transfer failure is retried (up to five attempts) and reported once at the end, with
 * percent 0: -13 transfer failed, -1 verify failed, -6 failed, -8 device timeout, -9 the file
 * holds nothing for this device. Refusals before any transfer (and any other exception) are
 * reported as (state, message, 0) and stored in *error (status 1, the function's name,
 * exception type 1; 0 for an unknown exception with "Unknown error"):
 *   -9  the file does not match the device, or is damaged
 *   -10 the device is not served
 *   -6  anything else
 * The callback is called before *error is set. */

/* Reads the whole file at `path` first: a file that cannot be opened reports
 * (-12, "Failed to read firmware file", 0), one that cannot be read whole (-5, same text, 0);
 * both store an error (type 7) and send nothing to the device. */
VX_EXT_API void vx_device_update_firmware_ext(vx_device_t* device, const char* path,
                                              vx_device_upgrade_callback cb, bool async,
                                              void* user_data, vx_error** error);
/* The same from an image in memory. The bytes are copied before the device is contacted, so the
 * caller's buffer may change during the update (in a callback, say) without changing what is
 * written. Null `data` with a non-zero `data_size` is refused: (-6, message, 0) and an error. */
VX_EXT_API void vx_device_update_firmware_from_raw_data_ext(vx_device_t* device,
                                                            const uint8_t* data, uint32_t data_size,
                                                            vx_device_upgrade_callback cb,
                                                            bool async, void* user_data,
                                                            vx_error** error);

/* ---- Optional depth presets -----------------------------------------------------------------
 * `file_path_list` holds `path_count` slots of 1024 characters, each a zero-terminated path.
 * Every file is read before the device is contacted; a missing or empty file reports
 * (-12, "Failed to read preset file", 0) and stores an error naming "vx_device_update_preset_ext"
 * (type 7). L840-family cameras take 1 to 3 preset files: (1, ready, 0), (4, progress...),
 * then (3, "Update successfully!", 100), or (6, ..., 100) when a file repeating presets already
 * seen was dropped; failures: -3 the preset area could not be cleared, -6 a write failed after
 * five attempts or the finish command failed. L945Se cameras take exactly one file, through the
 * firmware path (its states). Refusals: -11 wrong number of files, -10 unsupported device,
 * firmware too old or bootloader mode, -9 file mismatch; they store an error naming
 * "vx_device_update_preset_ext". */
VX_EXT_API void vx_device_update_optional_depth_presets_ext(vx_device_t* device,
                                                            const char (*file_path_list)[1024],
                                                            uint8_t path_count,
                                                            vx_device_upgrade_callback cb,
                                                            void* user_data, vx_error** error);

/* ---- Customer data --------------------------------------------------------------------------
 * No error parameter: every failure (an unsupported device, a size or firmware refusal, a failed
 * transfer) reaches the (C++) caller as an exception whose what() is the message. Limits: L840
 * series 128 bytes and firmware 1.7.16 or later for writing; OpenNI models 32 bytes; L945Se and
 * L5Pro none. */

VX_EXT_API void vx_device_write_customer_data_ext(vx_device_t* device, const void* data,
                                                  uint32_t data_size);
/* *data_size on entry: the capacity of `data` (0: the caller guarantees room for the whole area);
 * an area larger than a non-zero capacity is refused without writing. On return: the number of
 * bytes copied. */
VX_EXT_API void vx_device_read_customer_data_ext(vx_device_t* device, void* data,
                                                 uint32_t* data_size);

/* ---- Device-group tables --------------------------------------------------------------------
 * Replaces one of the library's run-time device-group tables whole, process-wide. Group types:
 * 0 L840 series, 2 L845Se, 3 KovraA, 4 L840 and KovraA (firmware updater choice), 6 L945Se:
 * 4-byte records (vid, pid; little-endian); 5 product names: 68-byte records (vid, pid, 64-byte
 * zero-terminated name). Trailing bytes that do not make a whole record are ignored (so a size
 * below one record empties the table). Errors (status 1, exception type 4, function
 * "vx_set_device_info_data"): "Failed to set device info data" for null data or size 0,
 * "Unknown device group type" for any other group; the tables are then left as they were. */
VX_EXT_API void vx_set_device_info_data(uint16_t group_type, const uint8_t* data,
                                        uint32_t data_size, vx_error** error);

#ifdef __cplusplus
}
#endif

#endif /* VXSENSOR_VX_EXTENSION_H */
