// Emulator state files as `state=FILE` reads them, the first input byte picking the camera: a
// file is refused with a message or loaded, and what the emulator then writes back loads again
// as the same camera.
#include <unistd.h>

#include <fstream>
#include <string>

#include "FuzzHarness.h"
#include "vxsim/plugin.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    if (size == 0) return 0;
    static const std::string path = "/tmp/vxfuzz-state-" + std::to_string(::getpid());
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes + 1), static_cast<std::streamsize>(size - 1));
    const std::string selector = vxfuzz::stateFileSelector(bytes[0], path);
    const vx_device_plugin* plugin = vxsim_device_plugin();
    char error[512] = "";
    vx_device_t* camera = plugin->open(selector.c_str(), error, sizeof error);
    if (camera == nullptr) {
        VXFUZZ_CHECK(error[0] != '\0');
        return 0;
    }
    const std::string loaded = plugin->describe(camera);
    VXFUZZ_CHECK(plugin->close(camera, error, sizeof error) == 0);
    camera = plugin->open(selector.c_str(), error, sizeof error);
    VXFUZZ_CHECK(camera != nullptr && plugin->describe(camera) == loaded);
    VXFUZZ_CHECK(plugin->close(camera, error, sizeof error) == 0);
    return 0;
}
