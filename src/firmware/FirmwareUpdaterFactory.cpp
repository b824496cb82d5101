// The selection order of the firmware updaters. The first match wins.
#include "firmware/FirmwareUpdaterFactory.h"

#include <string>

#include "DevicePidAndMap.h"
#include "common/VxExceptionExt.h"
#include "firmware/L5FirmwareUpdater.h"
#include "firmware/L5ProFirmwareUpdater.h"
#include "firmware/L840FirmwareUpdater.h"
#include "firmware/MiroMaxFirmwareUpdater.h"
#include "firmware/OpenNIFirmwareUpdater.h"

namespace libvxsensor {

namespace {

[[noreturn]] void refuse(uint16_t vid, uint16_t pid) {
    // No blank after "vid:", one after "pid:": the message is matched by existing tools.
    throw unsupported_device_exception_ext(
        "Failed to create FirmwareUpdater! Unsupported device, vid:" + std::to_string(vid) +
        " pid: " + std::to_string(pid));
}

}  // namespace

std::shared_ptr<IFirmwareUpdater> FirmwareUpdaterFactory::create(vx_device_t* device) {
    LiveDevice facts(device);
    return create(facts);
}

std::shared_ptr<IFirmwareUpdater> FirmwareUpdaterFactory::create(DeviceFacts& facts) {
    const DeviceIds ids = facts.ids();
    switch (firmwareFamilyOf(ids)) {
        case FirmwareFamily::L840:
            return std::make_shared<L840FirmwareUpdater>();
        case FirmwareFamily::L5Pro:
            return std::make_shared<L5ProFirmwareUpdater>();
        case FirmwareFamily::MiroMax:
            return std::make_shared<MiroMaxFirmwareUpdater>();
        case FirmwareFamily::L5:
            return std::make_shared<L5FirmwareUpdater>();
        case FirmwareFamily::OpenNI:
            return std::make_shared<OpenNIFirmwareUpdater>();
        case FirmwareFamily::Bootloader:
            // L840-family bootloaders answer the probe; the others do not.
            if (facts.answersBootloaderProbe()) return std::make_shared<L840FirmwareUpdater>();
            if (ids.pid == kOpenNIBootloaderPid) return std::make_shared<OpenNIFirmwareUpdater>();
            return std::make_shared<L5FirmwareUpdater>();
        case FirmwareFamily::None:
            break;
    }
    refuse(ids.vid, ids.pid);
}

Verdict judgeFirmware(DeviceFacts& facts, ByteView data) {
    return judge(PresetCountState::Generic,
                 [&] { return FirmwareUpdaterFactory::create(facts)->check(facts, data); });
}

}  // namespace libvxsensor
