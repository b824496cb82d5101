// The replay source as a device plugin (vxsensor/vx_device_plugin.h): a selector names a trace
// file, and the camera it opens is that trace (vxsim/Replay.h). The host functions are the
// emulator's, which hand a replay camera's calls to it.
#include <memory>
#include <string>

#include "OpenCameras.h"
#include "vxsim/Replay.h"
#include "vxsim/plugin.h"

namespace {

using vxsim::putError;
using vxsim::ReplayCamera;

vxsim::OpenCameras<ReplayCamera>& cameras() {
    static vxsim::OpenCameras<ReplayCamera> open;
    return open;
}

ReplayCamera* find(vx_device_t* device) {
    return cameras().find(device);
}

// A trace is not found by looking around: it is named.
int list(vx_device_found /*found*/, void* /*context*/, char* /*errorText*/, size_t /*size*/) {
    return 0;
}

vx_device_t* open(const char* selector, char* errorText, size_t errorSize) {
    if (selector == nullptr || *selector == '\0') {
        putError(errorText, errorSize, "the replay source opens a trace file: name it");
        return nullptr;
    }
    return cameras().open([&] { return std::make_unique<ReplayCamera>(selector); }, errorText,
                          errorSize);
}

const char* describe(vx_device_t* device) {
    static std::string text;
    const ReplayCamera* camera = find(device);
    text = camera != nullptr ? camera->describe() : "unknown replay camera";
    return text.c_str();
}

const char* report(vx_device_t* device) {
    static std::string text;
    const ReplayCamera* camera = find(device);
    text = camera != nullptr ? camera->report() : "";
    return text.empty() ? nullptr : text.c_str();
}

int close(vx_device_t* device, char* errorText, size_t errorSize) {
    if (cameras().take(device) == nullptr) {
        putError(errorText, errorSize, "no such replay camera");
        return 1;
    }
    return 0;
}

vx_device_plugin makePlugin() {
    vx_device_plugin plugin{};
    plugin.abi_version = VX_DEVICE_PLUGIN_ABI;
    plugin.name = "trace replay";
    plugin.host = vxsim_device_plugin()->host;
    plugin.list = list;
    plugin.open = open;
    plugin.describe = describe;
    plugin.report = report;
    plugin.close = close;
    // The groups and the pace of the recorded source are in the trace's header; whoever replays
    // it sets them (vxfw does).
    plugin.device_groups = nullptr;
    plugin.virtual_time = 1;
    return plugin;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const vx_device_plugin* vxsim_replay_plugin_entry(
    const char* /*options*/) {
    static const vx_device_plugin plugin = makePlugin();
    return &plugin;
}

extern "C" __attribute__((visibility("default"))) int vxsim_replay_matched(vx_device_t* device) {
    const ReplayCamera* camera = find(device);
    return camera != nullptr && camera->matched() ? 1 : 0;
}
