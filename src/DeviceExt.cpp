// The C boundary: the functions the library exports. Arguments are bridged into the library's
// function objects here, and exceptions are turned into states and error objects here only.
#include "vxsensor/vx_extension.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "DevicePidAndMap.h"
#include "ExceptionTranslation.h"
#include "common/ByteView.h"
#include "common/Utils.h"
#include "customerdata/ICustomeDataAccessor.h"
#include "firmware/FirmwareUpdaterFactory.h"
#include "presets/IOptionalDepthPresetsUpdater.h"
#include "vendorcommand/VendorCommand.h"

using namespace libvxsensor;

namespace {

constexpr int kTypeFileUnreadable = 7;
constexpr const char* kFirmwareFileMessage = "Failed to read firmware file";
constexpr const char* kPresetFileMessage = "Failed to read preset file";
// The preset entry point reports under this name, not its symbol's; hosts match on it.
constexpr const char* kPresetFunction = "vx_device_update_preset_ext";
constexpr size_t kPathSlot = 1024;

constexpr const char* kRawDataFunction = "vx_device_update_firmware_from_raw_data_ext";

// The caller's plain callback as the library's function object; silent when there is none.
UpgradeCallback upgradeWrapper(vx_device_upgrade_callback cb, void* userData) {
    return [cb, userData](VXUpgradeState state, const char* message, uint8_t percent) {
        if (cb != nullptr) cb(state, message, percent, userData);
    };
}

struct FileCloser {
    // The file is only read: a failing close cannot lose anything.
    void operator()(std::FILE* file) const { (void)std::fclose(file); }
};

enum class FileRead { Ok, CannotOpen, Short };

// Reads the whole file. A file that cannot be opened and one that cannot be read whole are told
// apart, because the caller reports them with different states.
FileRead readWholeFile(const char* path, std::vector<uint8_t>& bytes) {
    std::unique_ptr<std::FILE, FileCloser> file(path != nullptr ? std::fopen(path, "rb") : nullptr);
    if (!file) {
        return FileRead::CannotOpen;
    }
    if (std::fseek(file.get(), 0, SEEK_END) != 0) {
        return FileRead::Short;
    }
    const long size = std::ftell(file.get());
    // A directory or a file beyond what a 32-bit size can describe is never read whole.
    if (size < 0 || static_cast<unsigned long>(size) > 0xFFFFFFFFul ||
        std::fseek(file.get(), 0, SEEK_SET) != 0) {
        return FileRead::Short;
    }
    try {
        bytes.assign(static_cast<size_t>(size), 0);
    } catch (const std::exception&) {  // too large for this board's memory
        return FileRead::Short;
    }
    if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) {
        return FileRead::Short;
    }
    return FileRead::Ok;
}

// Both firmware entry points end here; failures are reported under the in-memory entry point's
// name whichever of the two was called.
void updateFromImage(vx_device_t* device, ByteView image, vx_device_upgrade_callback cb,
                     void* userData, vx_error** error) {
    translateExceptions(kRawDataFunction, PresetCountState::Generic, cb, userData, error, [&] {
        const auto updater = FirmwareUpdaterFactory::create(device);
        updater->updateFirmware(device, image, upgradeWrapper(cb, userData));
    });
}

}  // namespace

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

const char* vx_get_commit_hash(void) {
    return VXSENSOR_COMMIT_HASH;
}

void vx_device_update_firmware_ext(vx_device_t* device, const char* path,
                                   vx_device_upgrade_callback cb, bool /*async*/, void* user_data,
                                   vx_error** error) {
    std::vector<uint8_t> image;
    switch (readWholeFile(path, image)) {
        case FileRead::CannotOpen:
            return reportFailure("vx_device_update_firmware_ext", VX_UPGRADE_STATE_FILE_UNREADABLE,
                                 kFirmwareFileMessage, kTypeFileUnreadable, cb, user_data, error);
        case FileRead::Short:
            return reportFailure("vx_device_update_firmware_ext", VX_UPGRADE_STATE_FILE_SHORT_READ,
                                 kFirmwareFileMessage, kTypeFileUnreadable, cb, user_data, error);
        case FileRead::Ok:
            break;
    }
    // The file's bytes are the library's own: the update works on them, never on a second copy.
    updateFromImage(device, image, cb, user_data, error);
}

// The update always runs to its end before returning; `async` is accepted and ignored. The
// caller's bytes are copied first, so a callback that reuses the caller's buffer while the
// update runs cannot change what is written.
void vx_device_update_firmware_from_raw_data_ext(vx_device_t* device, const uint8_t* data,
                                                 uint32_t data_size, vx_device_upgrade_callback cb,
                                                 bool /*async*/, void* user_data,
                                                 vx_error** error) {
    std::vector<uint8_t> image;
    const bool copied =
        translateExceptions(kRawDataFunction, PresetCountState::Generic, cb, user_data, error, [&] {
            if (data == nullptr && data_size != 0) {
                throw std::invalid_argument(
                    "Firmware data is null but its size "
                    "is not 0");
            }
            image.assign(data, data + data_size);
        });
    if (copied) {
        updateFromImage(device, image, cb, user_data, error);
    }
}

void vx_device_update_optional_depth_presets_ext(vx_device_t* device,
                                                 const char (*file_path_list)[1024],
                                                 uint8_t path_count, vx_device_upgrade_callback cb,
                                                 void* user_data, vx_error** error) {
    // Every file is read before the device is contacted: one missing file sends nothing.
    std::vector<std::vector<uint8_t>> presets;
    for (uint8_t i = 0; i < path_count; ++i) {
        std::vector<uint8_t> file;
        if (file_path_list != nullptr) {
            const char* slot = file_path_list[i];
            file = readFile(std::string(slot, strnlen(slot, kPathSlot)));
        }
        if (file.empty()) {
            return reportFailure(kPresetFunction, VX_UPGRADE_STATE_FILE_UNREADABLE,
                                 kPresetFileMessage, kTypeFileUnreadable, cb, user_data, error);
        }
        presets.push_back(std::move(file));
    }
    translateExceptions(kPresetFunction, PresetCountState::Own, cb, user_data, error, [&] {
        const auto updater = OptionalDepthPresetsUpdaterFactory::create(device);
        updater->updateOptionalDepthPresets(device, presets, upgradeWrapper(cb, user_data));
    });
}

// No catch frame and no error parameter: every failure, an unsupported device included, reaches
// the (C++) host as an exception.
void vx_device_write_customer_data_ext(vx_device_t* device, const void* data, uint32_t data_size) {
    CustomeDataAccessorFactory::create(device)->writeCustomerData(device, data, data_size);
}

void vx_device_read_customer_data_ext(vx_device_t* device, void* data, uint32_t* data_size) {
    CustomeDataAccessorFactory::create(device)->readCustomerData(device, data, data_size);
}

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
