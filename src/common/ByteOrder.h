// Field access for wire formats and file formats: little-endian numbers, and texts in fixed-size
// fields. Every field the library reads or writes goes through these, so nothing depends on host
// byte order or alignment, and no text is read past its field.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace libvxsensor {

inline uint16_t readLe16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

inline uint32_t readLe32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

inline uint64_t readLe64(const uint8_t* p) {
    return static_cast<uint64_t>(readLe32(p)) | (static_cast<uint64_t>(readLe32(p + 4)) << 32);
}

inline void writeLe16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

inline void writeLe32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
    p[2] = static_cast<uint8_t>(v >> 16);
    p[3] = static_cast<uint8_t>(v >> 24);
}

// The text up to its first NUL, never past the field.
inline std::string readTextField(const uint8_t* field, size_t size) {
    return std::string(field, std::find(field, field + size, uint8_t{0}));
}

// At most the field's bytes: a text that fills the field has no terminator.
inline void writeTextField(std::vector<uint8_t>& out, size_t offset, size_t size,
                           const std::string& text) {
    std::copy_n(text.begin(), std::min(text.size(), size),
                out.begin() + static_cast<std::ptrdiff_t>(offset));
}

}  // namespace libvxsensor
