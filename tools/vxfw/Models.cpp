// The emulator's models, as its device plugin lists them.
#include "vxfw/Models.h"

#include "vxfw/Plugin.h"

namespace vxfw {

namespace {

std::vector<CameraModel> describeCatalog() {
    std::vector<CameraModel> models;
    // Loading the plugin registers the device groups its models need with the library.
    std::unique_ptr<DevicePlugin> emulator;
    try {
        emulator = DevicePlugin::loadEmulator();
    } catch (const UsageError&) {
        return models;  // without the emulator there are no models to judge for
    }
    for (const Listing& listing : emulator->list()) {
        // What a catalog camera answers; MiroMax cameras are made in recovery mode.
        libvxsensor::CameraDescription camera;
        camera.ids = {listing.vid, listing.pid};
        camera.connectionType = listing.connectionType;
        camera.firmwareVersion = listing.firmwareVersion;
        camera.ispVersion = listing.ispVersion;
        camera.recoveryMode = true;
        if (libvxsensor::isBootloader(camera.ids)) continue;  // judged as the models they are
        models.push_back({listing.selector, camera});
    }
    return models;
}

}  // namespace

const std::vector<CameraModel>& cameraModels() {
    static const std::vector<CameraModel> models = describeCatalog();
    return models;
}

}  // namespace vxfw
