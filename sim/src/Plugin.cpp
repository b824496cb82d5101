// The emulator as a device plugin (vxsensor/vx_device_plugin.h): its catalog models are the
// cameras it lists, a selector is a camera description with session options (Session.h), and
// its host functions are the emulator's own.
#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "OpenCameras.h"
#include "Session.h"
#include "vxsim/plugin.h"

namespace {

using vxsim::Session;

vxsim::OpenCameras<Session>& sessions() {
    static vxsim::OpenCameras<Session> open;
    return open;
}

int list(vx_device_found found, void* context, char* /*errorText*/, size_t /*errorSize*/) {
    const std::vector<std::string> lines = vxsim::modelDescriptions();
    for (const vxsim::ModelInfo& model : vxsim::modelCatalog()) {
        const auto line = std::find_if(lines.begin(), lines.end(), [&](const std::string& l) {
            return l.compare(0, model.name.size() + 1, model.name + " ") == 0;
        });
        const vx_device_listing camera{
            model.name.c_str(),
            line != lines.end() ? line->c_str() : model.name.c_str(),
            model.vid,
            model.pid,
            model.connection.c_str(),
            model.firmware.c_str(),
            model.ispVersion.empty() ? nullptr : model.ispVersion.c_str()};
        found(&camera, context);
    }
    // The bootloader shorthands open cameras too.
    for (const std::string& line : lines) {
        const size_t equals = line.find(" = ");
        if (equals == std::string::npos) continue;
        const std::string alias = line.substr(0, equals);
        const vxsim::ModelInfo& model =
            vxsim::findModel(line.substr(equals + 3, line.find(',') - equals - 3));
        const vx_device_listing camera{alias.c_str(),
                                       line.c_str(),
                                       model.vid,
                                       model.bootloaderPid,
                                       model.connection.c_str(),
                                       model.firmware.c_str(),
                                       nullptr};
        found(&camera, context);
    }
    return 0;
}

vx_device_t* open(const char* selector, char* errorText, size_t errorSize) {
    return sessions().open(
        [&] { return std::make_unique<Session>(selector != nullptr ? selector : ""); }, errorText,
        errorSize);
}

const char* describe(vx_device_t* device) {
    static std::string text;
    const Session* session = sessions().find(device);
    text = session != nullptr ? session->describe() : std::string("unknown camera");
    return text.c_str();
}

const char* report(vx_device_t* device) {
    static std::string text;
    const Session* session = sessions().find(device);
    text = session != nullptr ? session->report() : std::string();
    return text.empty() ? nullptr : text.c_str();
}

int close(vx_device_t* device, char* errorText, size_t errorSize) {
    const std::unique_ptr<Session> session = sessions().take(device);
    if (session == nullptr) {
        vxsim::putError(errorText, errorSize, "no such emulated camera");
        return 1;
    }
    try {
        session->save();
    } catch (const std::exception& e) {
        vxsim::putError(errorText, errorSize, e.what());
        return 1;
    }
    return 0;
}

void deviceGroups(vx_device_group_found found, void* context) {
    for (const auto& [group, records] : vxsim::groupRecords()) {
        found(group, records.data(), static_cast<uint32_t>(records.size()), context);
    }
}

const vx_host_functions kHost = {
    vx_device_get_device_info,
    vx_device_info_get_vid,
    vx_device_info_get_pid,
    vx_device_info_get_connection_type,
    vx_device_info_get_firmware_version,
    vx_delete_device_info,
    vx_device_send_and_receive_data,
    vx_device_get_structured_data,
    vx_device_get_extension_info,
    vx_create_error,
    vx_error_get_message,
    vx_error_get_function,
    vx_delete_error,
    vx_log_external_message,
};

const vx_device_plugin kPlugin = {
    VX_DEVICE_PLUGIN_ABI,
    "camera emulator",
    &kHost,
    list,
    open,
    describe,
    report,
    close,
    deviceGroups,
    1,
};

}  // namespace

extern "C" __attribute__((visibility("default"))) const vx_device_plugin* vx_device_plugin_entry(
    const char* /*options*/) {
    return &kPlugin;
}

extern "C" __attribute__((visibility("default"))) const vx_device_plugin* vxsim_device_plugin() {
    return &kPlugin;
}
