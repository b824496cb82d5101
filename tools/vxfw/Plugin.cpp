// Device plugins: loading, the emulator's whereabouts, the configuration, opening a camera.
#include "vxfw/Plugin.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <fstream>

#include "vxfw/HostSeam.h"
#include "vxfw/Tracing.h"
#include "vxsensor/vx_extension.h"

namespace vxfw {

namespace {

constexpr size_t kErrorSize = 512;

std::string trim(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::string executablePath() {
    char path[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", path, sizeof path - 1);
    return n > 0 ? std::string(path, static_cast<size_t>(n)) : std::string();
}

std::string env(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// "device-plugin" and "device" from the configuration file, if it names them.
std::string configured(const std::string& key) {
    const std::string path = env("VXFW_CONFIG").empty() ? "/etc/vxfw.conf" : env("VXFW_CONFIG");
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        line = trim(line.substr(0, line.find('#')));
        const size_t eq = line.find('=');
        if (eq != std::string::npos && trim(line.substr(0, eq)) == key) {
            return trim(line.substr(eq + 1));
        }
    }
    return {};
}

void registerGroup(uint16_t group, const uint8_t* records, uint32_t size, void* failed) {
    tracing::deviceGroup(group, records, size);
    vx_error* error = nullptr;
    vx_set_device_info_data(group, records, size, &error);
    if (error != nullptr) {
        *static_cast<std::string*>(failed) = vx_error_get_message(error);
        vx_delete_error(error);
    }
}

}  // namespace

std::unique_ptr<DevicePlugin> DevicePlugin::load(const std::string& path, const char* entryName,
                                                 std::optional<bool> virtualTime) {
    // Kept loaded until the process ends: error objects and texts of the plugin's host may
    // outlive any scope of vxfw's.
    void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw UsageError("cannot load device plugin " + path + ": " + ::dlerror());
    }
    const auto entry = reinterpret_cast<vx_device_plugin_entry_fn>(::dlsym(library, entryName));
    const vx_device_plugin* table = entry != nullptr ? entry(nullptr) : nullptr;
    if (table == nullptr) {
        throw UsageError(path + " is no device plugin: it exports no " + entryName);
    }
    if (table->abi_version != VX_DEVICE_PLUGIN_ABI || table->host == nullptr ||
        table->open == nullptr || table->close == nullptr || table->list == nullptr ||
        table->describe == nullptr) {
        throw UsageError(path + ": device plugin interface version " +
                         std::to_string(table->abi_version) + ", vxfw takes version " +
                         std::to_string(VX_DEVICE_PLUGIN_ABI) + " with every function set");
    }
    vx_device_plugin copy = *table;
    if (virtualTime) copy.virtual_time = *virtualTime ? 1 : 0;
    seam::attach(tracing::hostFor(copy));
    if (table->device_groups != nullptr) {
        std::string failed;
        table->device_groups(registerGroup, &failed);
        if (!failed.empty()) throw UsageError(path + ": device groups refused: " + failed);
    }
    return std::unique_ptr<DevicePlugin>(new DevicePlugin(path, library, copy));
}

void* DevicePlugin::symbol(const char* name) const {
    return ::dlsym(library_, name);
}

// The emulator beside vxfw: named by VXFW_SIM_PLUGIN; next to the build tree's vxfw; in the
// install's library directory relative to vxfw; wherever the dynamic linker finds it.
std::unique_ptr<DevicePlugin> DevicePlugin::loadEmulator(const char* entry,
                                                         std::optional<bool> virtualTime) {
    if (!env("VXFW_SIM_PLUGIN").empty()) return load(env("VXFW_SIM_PLUGIN"), entry, virtualTime);
    const std::string self = executablePath();
    std::vector<std::string> candidates;
    const std::string dir = self.substr(0, self.find_last_of('/'));
    if (dir == VXFW_BUILD_DIR) candidates.push_back(VXFW_BUILD_SIM_PLUGIN);
    candidates.push_back(dir + "/" VXFW_BIN_TO_LIB "/" VXFW_SIM_PLUGIN_NAME);
    for (const std::string& candidate : candidates) {
        if (::access(candidate.c_str(), R_OK) == 0) return load(candidate, entry, virtualTime);
    }
    try {
        return load(VXFW_SIM_PLUGIN_NAME, entry, virtualTime);
    } catch (const UsageError& e) {
        throw UsageError(std::string("the camera emulator is not installed (") + e.what() +
                         "); --sim and --replay need it");
    }
}

std::vector<Listing> DevicePlugin::list() const {
    std::vector<Listing> cameras;
    char error[kErrorSize] = {};
    const auto found = [](const vx_device_listing* camera, void* context) {
        const auto text = [](const char* t) { return t != nullptr ? std::string(t) : ""; };
        static_cast<std::vector<Listing>*>(context)->push_back(
            {text(camera->selector), text(camera->description), camera->vid, camera->pid,
             text(camera->connection_type), text(camera->firmware_version),
             text(camera->isp_version)});
    };
    if (table_.list(found, &cameras, error, sizeof error) != 0) {
        throw UsageError(path_ + " cannot list its cameras: " + error);
    }
    return cameras;
}

ResolvedChoice resolve(const DeviceChoice& choice) {
    // A replay's camera is its trace, whatever else the command line names.
    if (tracing::replaying()) return tracing::replaySource();
    if (!choice.sim.empty()) {
        std::unique_ptr<DevicePlugin> emulator = DevicePlugin::loadEmulator();
        return {std::move(emulator), choice.sim};
    }
    std::string path = choice.plugin;
    if (path.empty()) path = env("VXFW_DEVICE_PLUGIN");
    if (path.empty()) path = configured("device-plugin");
    if (path.empty()) {
        throw UsageError(
            "no camera to work on: give --device-plugin PATH (or set VXFW_DEVICE_PLUGIN, or "
            "device-plugin = PATH in /etc/vxfw.conf) for real cameras, or --sim MODEL for an "
            "emulated one (vxfw sim list shows the models)");
    }
    std::string selector = choice.device;
    if (selector.empty()) selector = env("VXFW_DEVICE");
    if (selector.empty()) selector = configured("device");
    std::unique_ptr<DevicePlugin> plugin = DevicePlugin::load(path);
    return {std::move(plugin), std::move(selector)};
}

CameraSession::CameraSession(const DevicePlugin& plugin, const std::string& selector)
    : plugin_(plugin) {
    char error[kErrorSize] = {};
    device_ = plugin.table().open(selector.c_str(), error, sizeof error);
    if (device_ == nullptr) {
        throw UsageError("cannot open camera '" + selector + "': " + error);
    }
    tracing::cameraOpened(describe());
}

CameraSession::~CameraSession() {
    if (device_ == nullptr) return;
    tracing::cameraClosing(plugin_, device_);
    char error[kErrorSize] = {};
    plugin_.table().close(device_, error, sizeof error);
}

std::string CameraSession::describe() const {
    const char* text = plugin_.table().describe(device_);
    return text != nullptr ? text : "";
}

std::string CameraSession::report() const {
    if (plugin_.table().report == nullptr) return {};
    const char* text = plugin_.table().report(device_);
    return text != nullptr ? text : "";
}

void CameraSession::close() {
    char error[kErrorSize] = {};
    vx_device_t* device = device_;
    device_ = nullptr;
    tracing::cameraClosing(plugin_, device);
    if (plugin_.table().close(device, error, sizeof error) != 0) {
        throw UsageError(std::string("closing the camera: ") + error);
    }
}

}  // namespace vxfw
