// The selection order of the firmware updaters. The first match wins.
#include "firmware/FirmwareUpdaterFactory.h"

#include <string>

#include "DevicePidAndMap.h"
#include "common/DeviceInfo.h"
#include "common/VxExceptionExt.h"
#include "firmware/L5FirmwareUpdater.h"
#include "firmware/L5ProFirmwareUpdater.h"
#include "firmware/L840FirmwareUpdater.h"
#include "firmware/MiroMaxFirmwareUpdater.h"
#include "firmware/OpenNIFirmwareUpdater.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kBootloaderProbeId = 1063;
constexpr uint16_t kL5ProPid = 0x0671;
constexpr uint16_t kOpenNIBootloaderPid = 0x0400;

enum class Family { None, L840, L5, L5Pro, OpenNI, MiroMax };

// L840-family bootloaders answer this structure request; the others do not.
bool answersBootloaderProbe(vx_device_t* device) {
    uint8_t buffer[16] = {};
    uint32_t size = sizeof buffer;
    vx_error* error = nullptr;
    vx_device_get_structured_data(device, kBootloaderProbeId, buffer, &size, &error);
    if (error == nullptr) {
        return true;
    }
    vx_delete_error(error);
    return false;
}

Family familyOf(vx_device_t* device, uint16_t vid, uint16_t pid) {
    if (isDeviceInContainer(L840AndKovraADevPids, vid, pid)) return Family::L840;
    if (vid == kVendorId && pid == kL5ProPid) return Family::L5Pro;
    // The L945Se family is served by the L5Pro updater on purpose.
    if (isDeviceInContainer(L945SeDevPids, vid, pid)) return Family::L5Pro;
    if (vid != kVendorId) return Family::None;
    if (isPidValid(pid, OpenNIDevPids)) return Family::OpenNI;
    if (isPidValid(pid, Lumex5DevPids) || isPidValid(pid, Pellin3DevPids) ||
        isPidValid(pid, Lumex470DevPids)) {
        return Family::L5;
    }
    if (isPidValid(pid, MiroMaxDevPids)) return Family::MiroMax;
    if (isPidValid(pid, L815DevPids)) return Family::L840;
    if (isPidValid(pid, BootDevPids)) {
        if (answersBootloaderProbe(device)) return Family::L840;
        return pid == kOpenNIBootloaderPid ? Family::OpenNI : Family::L5;
    }
    return Family::None;
}

[[noreturn]] void refuse(uint16_t vid, uint16_t pid) {
    // No blank after "vid:", one after "pid:": the message is matched by existing tools.
    throw unsupported_device_exception_ext(
        "Failed to create FirmwareUpdater! Unsupported device, vid:" + std::to_string(vid) +
        " pid: " + std::to_string(pid));
}

}  // namespace

std::shared_ptr<IFirmwareUpdater> FirmwareUpdaterFactory::create(vx_device_t* device) {
    const auto [vid, pid] = readDeviceIds(device);
    switch (familyOf(device, vid, pid)) {
        case Family::L840:
            return std::make_shared<L840FirmwareUpdater>();
        case Family::L5Pro:
            return std::make_shared<L5ProFirmwareUpdater>();
        case Family::MiroMax:
            return std::make_shared<MiroMaxFirmwareUpdater>();
        case Family::L5:
            return std::make_shared<L5FirmwareUpdater>();
        case Family::OpenNI:
            return std::make_shared<OpenNIFirmwareUpdater>();
        case Family::None:
            break;
    }
    refuse(vid, pid);
}

}  // namespace libvxsensor
