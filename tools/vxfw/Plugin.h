// Loading a device plugin (vxsensor/vx_device_plugin.h) and choosing the camera to work on:
// --sim MODEL (the emulator's plugin), or --device-plugin PATH with --device SELECTOR, falling
// back to the environment (VXFW_DEVICE_PLUGIN, VXFW_DEVICE) and a configuration file
// ($VXFW_CONFIG, else /etc/vxfw.conf: "device-plugin = PATH" and "device = SELECTOR" lines,
// '#' starts a comment).
#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "vxsensor/vx_device_plugin.h"

namespace vxfw {

// The command line cannot be served: wrong option, unreadable input, no device source.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Listing {
    std::string selector;
    std::string description;
    uint16_t vid = 0;
    uint16_t pid = 0;
    std::string connectionType;
    std::string firmwareVersion;
    std::string ispVersion;
};

class DevicePlugin {
public:
    // UsageError when the file cannot be loaded or holds no plugin of this interface version.
    // The host seam is attached to it and its device groups are registered with the library.
    // `entry` names the function that returns the table; `virtualTime`, when given, replaces
    // the table's own (a replay runs at the pace of the source it recorded).
    static std::unique_ptr<DevicePlugin> load(const std::string& path,
                                              const char* entry = VX_DEVICE_PLUGIN_ENTRY,
                                              std::optional<bool> virtualTime = std::nullopt);
    // The emulator's library, found beside vxfw (see Plugin.cpp for where it is looked for).
    static std::unique_ptr<DevicePlugin> loadEmulator(
        const char* entry = VX_DEVICE_PLUGIN_ENTRY, std::optional<bool> virtualTime = std::nullopt);

    const vx_device_plugin& table() const { return table_; }
    std::string path() const { return path_; }
    // Another function the plugin's library exports, or nullptr.
    void* symbol(const char* name) const;
    // UsageError when the plugin cannot list.
    std::vector<Listing> list() const;

private:
    DevicePlugin(std::string path, void* library, const vx_device_plugin& table)
        : path_(std::move(path)), library_(library), table_(table) {}

    std::string path_;
    void* library_;
    vx_device_plugin table_;
};

// Where the camera comes from, as the command line, the environment and the configuration say.
struct DeviceChoice {
    std::string sim;     // --sim MODEL[,options]
    std::string plugin;  // --device-plugin PATH
    std::string device;  // --device SELECTOR
};

// The plugin to load and the selector to open with it. UsageError when nothing names a plugin.
struct ResolvedChoice {
    std::unique_ptr<DevicePlugin> plugin;
    std::string selector;
};
ResolvedChoice resolve(const DeviceChoice& choice);

// One open camera: closed (and its plugin's state saved) when the session ends.
class CameraSession {
public:
    CameraSession(const DevicePlugin& plugin, const std::string& selector);
    ~CameraSession();
    CameraSession(const CameraSession&) = delete;
    CameraSession& operator=(const CameraSession&) = delete;

    vx_device_t* handle() const { return device_; }
    std::string describe() const;
    // The plugin's words on what the camera saw, or empty.
    std::string report() const;
    // Closes now; UsageError when the plugin cannot (its state is then not saved).
    void close();

private:
    const DevicePlugin& plugin_;
    vx_device_t* device_;
};

}  // namespace vxfw
