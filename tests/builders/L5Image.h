// Builds L5-family firmware images byte by byte: a body, then the 100-byte trailer with its
// magic and product id. Valid by default; written apart from the parser so that the two cannot
// share a misreading:
//   L5Image().pid(0x0660).size(0x30000).build()
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

class L5Image {
public:
    L5Image& pid(uint16_t v) {
        pid_ = v;
        return *this;
    }
    // Total file size, trailer included; the body is a counting pattern.
    L5Image& size(uint32_t v) {
        size_ = v;
        return *this;
    }
    // Damage: another magic, or the built file cut to `n` bytes.
    L5Image& magic(uint32_t v) {
        magic_ = v;
        return *this;
    }
    L5Image& truncateTo(size_t n) {
        truncateTo_ = n;
        return *this;
    }

    std::vector<uint8_t> build() const {
        std::vector<uint8_t> out(size_ > 100 ? size_ - 100 : 0);
        for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(i * 7 + 3);
        std::vector<uint8_t> trailer(100, 0);
        for (size_t i = 0; i < 4; ++i) trailer[i] = static_cast<uint8_t>(magic_ >> (8 * i));
        trailer[6] = static_cast<uint8_t>(pid_);
        trailer[7] = static_cast<uint8_t>(pid_ >> 8);
        out.insert(out.end(), trailer.begin(), trailer.end());
        if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
        return out;
    }

private:
    uint16_t pid_ = 0x0670;
    uint32_t size_ = 1500;
    uint32_t magic_ = 0xA55ACDDC;
    std::optional<size_t> truncateTo_;
};
