// Builds MiroMax firmware packages byte by byte, valid by default, with knobs for damage:
//   MiroMaxPackage().productName("ra-dk700v").firmwareType(3).payload(bytes).build()
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

class MiroMaxPackage {
public:
    MiroMaxPackage& magic(std::string v) {
        magic_ = std::move(v);
        return *this;
    }
    MiroMaxPackage& platform(std::string v) {
        platform_ = std::move(v);
        return *this;
    }
    MiroMaxPackage& productName(std::string v) {
        productName_ = std::move(v);
        return *this;
    }
    MiroMaxPackage& firmwareType(uint32_t v) {
        firmwareType_ = v;
        return *this;
    }
    MiroMaxPackage& payload(std::vector<uint8_t> v) {
        payload_ = std::move(v);
        return *this;
    }
    // Damage: the package cut to `n` bytes, header included.
    MiroMaxPackage& truncateTo(size_t n) {
        truncateTo_ = n;
        return *this;
    }

    std::vector<uint8_t> build() const {
        std::vector<uint8_t> out(256, 0);
        // Texts fill at most their field; one that fills it has no terminator.
        const auto text = [&out](size_t at, size_t field, const std::string& s) {
            for (size_t i = 0; i < s.size() && i < field; ++i)
                out[at + i] = static_cast<uint8_t>(s[i]);
        };
        text(0, 4, magic_);
        text(33, 16, platform_);
        text(49, 16, productName_);
        for (size_t i = 0; i < 4; ++i) out[65 + i] = static_cast<uint8_t>(firmwareType_ >> (8 * i));
        out.insert(out.end(), payload_.begin(), payload_.end());
        if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
        return out;
    }

private:
    std::string magic_ = "QZTW";
    std::string platform_ = "jetson nano";
    std::string productName_ = "miro max";
    uint32_t firmwareType_ = 2;
    std::vector<uint8_t> payload_ = std::vector<uint8_t>(64, 0xA5);
    std::optional<size_t> truncateTo_;
};
