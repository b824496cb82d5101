// The C boundary: the functions the library exports. Arguments are bridged into the library's
// function objects here, and exceptions are turned into states and error objects here only.
#include "vxsensor/vx_extension.h"

#include "DevicePidAndMap.h"
#include "vendorcommand/VendorCommand.h"

using namespace libvxsensor;

extern "C" {

// The flash entry points have no catch frame on purpose: the host is C++ and wants the flash
// layer's exceptions.
void vx_device_write_flash(vx_device_t* device, uint32_t offset, const void* data,
                           uint32_t data_size, vx_set_data_callback cb, bool async,
                           void* user_data) {
    const uint32_t packetSize = VendorCommand::packetSizeForConnection(device);
    VendorCommand::SetDataCallback progress = [cb, user_data](VXDataTranState state,
                                                              uint8_t percent) {
        if (cb != nullptr) cb(state, percent, user_data);
    };
    VendorCommand::writeFlash(device, offset, data, data_size, progress, async,
                              VendorCommand::VERIFY_READ_BACK, packetSize);
}

void vx_device_read_flash(vx_device_t* device, uint32_t offset, uint32_t data_size,
                          vx_get_data_callback cb, bool async, void* user_data) {
    const uint32_t packetSize = VendorCommand::packetSizeForConnection(device);
    VendorCommand::GetDataCallback progress = [cb, user_data](VXDataTranState state,
                                                              VXDataChunk* chunk) {
        if (cb != nullptr) cb(state, chunk, user_data);
    };
    VendorCommand::readFlash(device, offset, data_size, progress, async, packetSize);
}

// The register entry points exist only so the host finds every symbol it looks up. They must
// stay inert: no argument is touched, no output written, no error set.
void vx_device_write_ahb(vx_device_t*, uint32_t, uint32_t, uint32_t, vx_error**) {}
void vx_device_read_ahb(vx_device_t*, uint32_t, uint32_t, uint32_t*, vx_error**) {}
void vx_device_write_i2c(vx_device_t*, uint32_t, uint32_t, uint32_t, uint32_t, vx_error**) {}
void vx_device_read_i2c(vx_device_t*, uint32_t, uint32_t, uint32_t, uint32_t*, vx_error**) {}

const char* vx_get_commit_hash(void) { return VXSENSOR_COMMIT_HASH; }

void vx_set_device_info_data(uint16_t group_type, const uint8_t* data, uint32_t data_size,
                             vx_error** error) {
    const char* message = nullptr;
    switch (setDeviceInfoData(group_type, data, data_size)) {
        case SetDeviceInfoResult::Ok:
            return;
        case SetDeviceInfoResult::InvalidArgument:
            message = "Failed to set device info data";
            break;
        case SetDeviceInfoResult::UnknownGroup:
            message = "Unknown device group type";
            break;
    }
    if (error != nullptr) {
        *error = vx_create_error(1, message, "vx_set_device_info_data", "", 4);
    }
}

}  // extern "C"
