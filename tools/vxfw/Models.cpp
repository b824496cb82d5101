#include "vxfw/Models.h"

#include <stdexcept>

#include "vxsensor/vx_extension.h"
#include "vxsim/Models.h"

namespace vxfw {

namespace {

std::vector<CameraModel> describeCatalog() {
    for (const auto& [group, records] : vxsim::groupRecords()) {
        vx_error* error = nullptr;
        vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                &error);
        if (error != nullptr) {
            vx_delete_error(error);
            throw std::runtime_error("the emulator's device groups were refused");
        }
    }
    std::vector<CameraModel> models;
    for (const vxsim::ModelInfo& info : vxsim::modelCatalog()) {
        // What a catalog camera answers: no ISP version unless asked for, and MiroMax cameras
        // in recovery mode.
        libvxsensor::CameraDescription camera;
        camera.ids = {info.vid, info.pid};
        camera.connectionType = info.connection;
        camera.firmwareVersion = info.firmware;
        camera.recoveryMode = true;
        models.push_back({info.name, camera});
    }
    return models;
}

}  // namespace

const std::vector<CameraModel>& cameraModels() {
    static const std::vector<CameraModel> models = describeCatalog();
    return models;
}

}  // namespace vxfw
