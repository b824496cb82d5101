// Where the device commands get their camera from. The commands know only this interface, so
// the emulator and a real host SDK are interchangeable behind it.
//
// To run vxfw on real cameras, an integrator implements one more DeviceSource: open() opens the
// camera with the maker's host library and returns its vx_device_t* (after registering the
// device-group records of the L840-series, KovraA, L845Se and L945Se products with
// vx_set_device_info_data, which only the application knows); describe() names the camera;
// close() releases it. usage() and report() may stay as they are. makeDeviceSource() then
// returns that source when no --sim is given, and the tool links the maker's host library
// instead of libvxsensor_sim (the library resolves the host functions from whichever is linked).
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "vxsensor/vx_host.h"

namespace vxfw {

// The command line cannot be served: wrong option, unreadable input, no device source.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// How long the link to the camera has been busy and how many bytes crossed it, for progress
// rates. A source that cannot tell leaves it to the wall clock and the percentages.
struct LinkUsage {
    double seconds = 0.0;
    uint64_t bytes = 0;
};

class DeviceSource {
public:
    virtual ~DeviceSource() = default;

    // The camera to work on, valid until close(). UsageError when there is none.
    virtual vx_device_t* open() = 0;
    // One line naming the camera.
    virtual std::string describe() const = 0;
    // After the operation; a source that keeps state saves it here. UsageError on failure.
    virtual void close() {}
    virtual std::optional<LinkUsage> usage() const { return std::nullopt; }
    // What the source knows about the traffic of the operation, beside the library's own
    // wall-clock time for it.
    virtual void report(std::FILE* out, double librarySeconds) const {
        std::fprintf(out, "Library time: %.3f s\n", librarySeconds);
    }
};

// --sim DESCRIPTION, or empty for the built-in source (there is none: UsageError). `verbose`:
// the library's warnings and errors go to stderr.
std::unique_ptr<DeviceSource> makeDeviceSource(const std::string& simDescription, bool verbose);

// A number written in decimal or with 0x in hex, at most `max`; nullopt for anything else.
std::optional<uint64_t> parseNumber(const std::string& text, uint64_t max);

}  // namespace vxfw
