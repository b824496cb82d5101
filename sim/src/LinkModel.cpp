// Link presets and the per-exchange time formula.
#include "vxsim/LinkModel.h"

#include <cctype>

namespace vxsim {
namespace {

bool equalsIgnoringCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}

}  // namespace

double LinkModel::seconds(size_t requestBytes, size_t responseBytes) const {
    const double bytes = static_cast<double>(requestBytes) + static_cast<double>(responseBytes);
    return latencySeconds + (bytesPerSecond > 0.0 ? bytes / bytesPerSecond : 0.0);
}

double LinkModel::totalSeconds(uint64_t exchanges, uint64_t bytes) const {
    return static_cast<double>(exchanges) * latencySeconds +
           (bytesPerSecond > 0.0 ? static_cast<double>(bytes) / bytesPerSecond : 0.0);
}

LinkModel LinkModel::usb2() {
    return {"USB2.0", 0.25e-3, 35e6};
}

LinkModel LinkModel::usb3() {
    return {"USB3.0", 0.125e-3, 300e6};
}

LinkModel LinkModel::gmsl2() {
    return {"GMSL2", 1e-3, 100e3};
}

LinkModel LinkModel::ethernet() {
    return {"Ethernet", 0.2e-3, 125e6};
}

std::vector<LinkModel> linkPresets() {
    return {LinkModel::usb2(), LinkModel::usb3(), LinkModel::gmsl2(), LinkModel::ethernet()};
}

std::optional<LinkModel> linkPreset(const std::string& connectionType) {
    for (LinkModel& link : linkPresets()) {
        if (equalsIgnoringCase(link.name, connectionType)) return std::move(link);
    }
    return std::nullopt;
}

}  // namespace vxsim
