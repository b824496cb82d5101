// The number syntax the command line and the manifests share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vxfw {

// A number written in decimal or with 0x in hex, at most `max`; nullopt for anything else.
std::optional<uint64_t> parseNumber(const std::string& text, uint64_t max);

}  // namespace vxfw
