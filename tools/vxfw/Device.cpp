// The choice of device source, and the number syntax the device options share.
#include "vxfw/Device.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "vxfw/SimDevice.h"

namespace vxfw {

std::unique_ptr<DeviceSource> makeDeviceSource(const std::string& simDescription, bool verbose) {
    if (simDescription.empty()) {
        // A build linked against a maker's host library returns its own source here.
        throw UsageError(
            "this vxfw has no host SDK device source built in; use --sim MODEL[,option...] to "
            "work on an emulated camera (vxfw sim list shows the models)");
    }
    return std::make_unique<SimDeviceSource>(simDescription, verbose);
}

std::optional<uint64_t> parseNumber(const std::string& text, uint64_t max) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    const char* allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (digits.empty() || digits.find_first_not_of(allowed) != std::string::npos)
        return std::nullopt;
    errno = 0;
    const unsigned long long value = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
    if (errno == ERANGE || value > max) return std::nullopt;
    return static_cast<uint64_t>(value);
}

}  // namespace vxfw
