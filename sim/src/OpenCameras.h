// What both of the emulator's device plugins (the emulator, the trace replay) keep: the cameras
// they opened, by the handle they gave out, and the plugin interface's way of saying why a call
// failed.
#pragma once

#include <cstdio>
#include <exception>
#include <map>
#include <memory>
#include <string>

#include "vxsensor/vx_device_plugin.h"

namespace vxsim {

inline void putError(char* text, size_t size, const std::string& message) {
    if (text != nullptr && size > 0) std::snprintf(text, size, "%s", message.c_str());
}

template <class Camera>
class OpenCameras {
public:
    // Opens what `make` returns; when it throws, nullptr and why in errorText.
    template <class Make>
    vx_device_t* open(Make make, char* errorText, size_t errorSize) {
        try {
            std::unique_ptr<Camera> camera = make();
            vx_device_t* handle = camera->handle();
            open_[handle] = std::move(camera);
            return handle;
        } catch (const std::exception& e) {
            putError(errorText, errorSize, e.what());
            return nullptr;
        }
    }

    Camera* find(vx_device_t* device) const {
        const auto found = open_.find(device);
        return found != open_.end() ? found->second.get() : nullptr;
    }

    // Hands the camera back to be closed; nullptr when it is not open here.
    std::unique_ptr<Camera> take(vx_device_t* device) {
        const auto found = open_.find(device);
        if (found == open_.end()) return nullptr;
        std::unique_ptr<Camera> camera = std::move(found->second);
        open_.erase(found);
        return camera;
    }

private:
    std::map<vx_device_t*, std::unique_ptr<Camera>> open_;
};

}  // namespace vxsim
