// How long exchanges would take on a real link, accounted without sleeping: a fixed cost per
// exchange plus the bytes of both directions at an effective rate. Good enough to compare
// transfer strategies (packet sizes, read-back verification) across connection types.
//
//   device.setLinkModel(vxsim::LinkModel::gmsl2());
//   ... run an update ...
//   std::printf("%.1f s on GMSL2\n", device.modelledSeconds());
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vxsim {

struct LinkModel {
    std::string name;
    double latencySeconds = 0.0;  // per exchange: request turnaround and scheduling
    double bytesPerSecond = 0.0;  // effective payload rate; 0 means unlimited

    // Modelled duration of one exchange that moved these bytes.
    double seconds(size_t requestBytes, size_t responseBytes) const;
    // Of `exchanges` exchanges that moved `bytes` in both directions together: the sum of
    // seconds() over them, since the model is linear.
    double totalSeconds(uint64_t exchanges, uint64_t bytes) const;

    // USB 2.0 high speed, vendor control path: ~35 MB/s effective, ~0.25 ms per exchange
    // (microframe scheduling plus the device's turnaround).
    static LinkModel usb2();
    // USB 3.0 SuperSpeed: ~300 MB/s effective, ~0.125 ms per exchange.
    static LinkModel usb3();
    // GMSL2: vendor requests travel over the serializer's low-rate back channel tunnelling an
    // I2C-class bus, ~100 kB/s with ~1 ms per exchange. Large transfers are slow here.
    static LinkModel gmsl2();
    // Gigabit Ethernet: 125 MB/s line rate, ~0.2 ms per request/response round trip.
    static LinkModel ethernet();
};

// The presets by their connection-type text ("USB2.0", "USB3.0", "GMSL2", "Ethernet"),
// compared without regard to case. nullopt for any other text.
std::optional<LinkModel> linkPreset(const std::string& connectionType);
std::vector<LinkModel> linkPresets();

}  // namespace vxsim
