/*
 * The functions libvxsensor_ext exports: maintenance operations on a camera opened through the
 * host SDK (firmware update, optional depth presets, customer data, raw flash) and the filling of
 * the library's device-group tables. Exactly these 13 symbols are exported.
 *
 * Plain C, usable from C and C++. Every call runs to its end on the caller's thread; callbacks
 * are called on that thread before the function returns.
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
 * These two let C++ exceptions from the flash layer reach the caller (the host is C++). */

VX_EXT_API void vx_device_write_flash(vx_device_t* device, uint32_t offset, const void* data,
                                      uint32_t data_size, vx_set_data_callback cb, bool async,
                                      void* user_data);
VX_EXT_API void vx_device_read_flash(vx_device_t* device, uint32_t offset, uint32_t data_size,
                                     vx_get_data_callback cb, bool async, void* user_data);

/* ---- Register access: present so the host finds every symbol it looks up; they do nothing. -- */

VX_EXT_API void vx_device_write_ahb(vx_device_t* device, uint32_t reg, uint32_t mask,
                                    uint32_t value, vx_error** error);
VX_EXT_API void vx_device_read_ahb(vx_device_t* device, uint32_t reg, uint32_t mask,
                                   uint32_t* value, vx_error** error);
VX_EXT_API void vx_device_write_i2c(vx_device_t* device, uint32_t module_id, uint32_t reg,
                                    uint32_t mask, uint32_t value, vx_error** error);
VX_EXT_API void vx_device_read_i2c(vx_device_t* device, uint32_t module_id, uint32_t reg,
                                   uint32_t mask, uint32_t* value, vx_error** error);

/* The source revision the library was built from (static text; do not free). */
VX_EXT_API const char* vx_get_commit_hash(void);

/* ---- Firmware update ----------------------------------------------------------------------- */

VX_EXT_API void vx_device_update_firmware_ext(vx_device_t* device, const char* path,
                                              vx_device_upgrade_callback cb, bool async,
                                              void* user_data, vx_error** error);
VX_EXT_API void vx_device_update_firmware_from_raw_data_ext(vx_device_t* device,
                                                            const uint8_t* data,
                                                            uint32_t data_size,
                                                            vx_device_upgrade_callback cb,
                                                            bool async, void* user_data,
                                                            vx_error** error);

/* ---- Optional depth presets ---------------------------------------------------------------- */

VX_EXT_API void vx_device_update_optional_depth_presets_ext(vx_device_t* device,
                                                            const char (*file_path_list)[1024],
                                                            uint8_t path_count,
                                                            vx_device_upgrade_callback cb,
                                                            void* user_data, vx_error** error);

/* ---- Customer data: exceptions reach the caller. ------------------------------------------- */

VX_EXT_API void vx_device_write_customer_data_ext(vx_device_t* device, const void* data,
                                                  uint32_t data_size);
VX_EXT_API void vx_device_read_customer_data_ext(vx_device_t* device, void* data,
                                                 uint32_t* data_size);

/* ---- Device-group tables ------------------------------------------------------------------- */

VX_EXT_API void vx_set_device_info_data(uint16_t group_type, const uint8_t* data,
                                        uint32_t data_size, vx_error** error);

#ifdef __cplusplus
}
#endif

#endif /* VXSENSOR_VX_EXTENSION_H */
