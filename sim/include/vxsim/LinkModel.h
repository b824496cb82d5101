// How long exchanges would take on a real link, accounted without sleeping: a fixed cost per
// exchange plus the bytes of both directions at an effective rate. Good enough to compare
// transfer strategies (packet sizes, read-back verification) across connection types.
//
//   device.setLinkModel(vxsim::LinkModel::gmsl2());
//   ... run an update ...
//   std::printf("%.1f s on GMSL2\n", device.modelledSeconds());
#pragma once

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Header-only, so that a program that only models link times (vxfw, for a dry run's estimate)
// needs no emulator linked in.
namespace vxsim {

struct LinkModel {
    std::string name;
    double latencySeconds = 0.0;  // per exchange: request turnaround and scheduling
    double bytesPerSecond = 0.0;  // effective payload rate; 0 means unlimited

    // Of `exchanges` exchanges that moved `bytes` in both directions together.
    double totalSeconds(uint64_t exchanges, uint64_t bytes) const {
        return static_cast<double>(exchanges) * latencySeconds +
               (bytesPerSecond > 0.0 ? static_cast<double>(bytes) / bytesPerSecond : 0.0);
    }
    // Modelled duration of one exchange that moved these bytes.
    double seconds(size_t requestBytes, size_t responseBytes) const {
        return totalSeconds(1, uint64_t{requestBytes} + responseBytes);
    }

    // USB 2.0 high speed, vendor control path: ~35 MB/s effective, ~0.25 ms per exchange
    // (microframe scheduling plus the device's turnaround).
    static LinkModel usb2() { return {"USB2.0", 0.25e-3, 35e6}; }
    // USB 3.0 SuperSpeed: ~300 MB/s effective, ~0.125 ms per exchange.
    static LinkModel usb3() { return {"USB3.0", 0.125e-3, 300e6}; }
    // GMSL2: vendor requests travel over the serializer's low-rate back channel tunnelling an
    // I2C-class bus, ~100 kB/s with ~1 ms per exchange. Large transfers are slow here.
    static LinkModel gmsl2() { return {"GMSL2", 1e-3, 100e3}; }
    // Gigabit Ethernet: 125 MB/s line rate, ~0.2 ms per request/response round trip.
    static LinkModel ethernet() { return {"Ethernet", 0.2e-3, 125e6}; }
};

inline std::vector<LinkModel> linkPresets() {
    return {LinkModel::usb2(), LinkModel::usb3(), LinkModel::gmsl2(), LinkModel::ethernet()};
}

// The presets by their connection-type text ("USB2.0", "USB3.0", "GMSL2", "Ethernet"),
// compared without regard to case. nullopt for any other text.
inline std::optional<LinkModel> linkPreset(const std::string& connectionType) {
    for (LinkModel& link : linkPresets()) {
        const bool same = link.name.size() == connectionType.size() &&
                          std::equal(link.name.begin(), link.name.end(), connectionType.begin(),
                                     [](char a, char b) {
                                         return std::tolower(static_cast<unsigned char>(a)) ==
                                                std::tolower(static_cast<unsigned char>(b));
                                     });
        if (same) return link;
    }
    return std::nullopt;
}

}  // namespace vxsim
