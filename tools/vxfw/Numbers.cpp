#include "vxfw/Numbers.h"

#include <cerrno>
#include <cstdlib>

namespace vxfw {

std::optional<uint64_t> parseNumber(const std::string& text, uint64_t max) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    const char* allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (digits.empty() || digits.find_first_not_of(allowed) != std::string::npos) {
        return std::nullopt;
    }
    errno = 0;
    const unsigned long long value = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
    if (errno == ERANGE || value > max) return std::nullopt;
    return static_cast<uint64_t>(value);
}

}  // namespace vxfw
