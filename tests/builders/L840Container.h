// Builds L840 firmware containers byte by byte, valid by default, with knobs for deliberate
// damage. Written independently of the parser so the two cannot share a misreading:
//   L840Container().date("20250408").component(L840Component().name("main").data(bytes)).build()
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace l840build {

inline void put(std::vector<uint8_t>& b, size_t at, uint64_t v, size_t width) {
    for (size_t i = 0; i < width; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}
// Copies at most `field` bytes; a text that fills the field has no terminator.
inline void putText(std::vector<uint8_t>& b, size_t at, size_t field, const std::string& s) {
    for (size_t i = 0; i < s.size() && i < field; ++i) b[at + i] = static_cast<uint8_t>(s[i]);
}

}  // namespace l840build

class L840Component {
public:
    L840Component& name(std::string v) {
        name_ = std::move(v);
        return *this;
    }
    L840Component& version(std::string v) {
        version_ = std::move(v);
        return *this;
    }
    L840Component& address(uint64_t v) {
        address_ = v;
        return *this;
    }
    L840Component& data(std::vector<uint8_t> v) {
        data_ = std::move(v);
        return *this;
    }
    L840Component& pids(std::vector<uint16_t> v) {
        pids_ = std::move(v);
        return *this;
    }
    L840Component& writeSize(uint32_t v) {
        writeSize_ = v;
        return *this;
    }
    // Damage: the declared record header size, and how many header bytes are written (the
    // 128-byte layout cut short, or padded with zeros past 128).
    L840Component& headerSize(uint32_t v) {
        headerSize_ = v;
        return *this;
    }
    L840Component& checksumOffBy(uint32_t delta) {
        checksumDelta_ = delta;
        return *this;
    }
    // Damage: the declared data length; the real data is still written as given.
    L840Component& claimedLength(uint32_t v) {
        claimedLength_ = v;
        return *this;
    }

    void appendTo(std::vector<uint8_t>& out) const {
        using namespace l840build;
        std::vector<uint8_t> h(headerSize_ > 128 ? headerSize_ : 128, 0);
        uint32_t sum = 0;
        for (uint8_t byte : data_) sum += byte;
        const auto length = static_cast<uint32_t>(data_.size());
        put(h, 0, headerSize_, 4);
        put(h, 4, claimedLength_.value_or(length), 4);
        put(h, 8, address_, 8);
        put(h, 16, writeSize_.value_or(length), 4);
        put(h, 20, sum + checksumDelta_, 4);
        putText(h, 24, 16, version_);
        putText(h, 40, 64, name_);
        for (size_t i = 0; i < pids_.size() && i < 12; ++i) put(h, 104 + 2 * i, pids_[i], 2);
        out.insert(out.end(), h.begin(), h.begin() + static_cast<std::ptrdiff_t>(headerSize_));
        out.insert(out.end(), data_.begin(), data_.end());
    }

private:
    std::string name_ = "main";
    std::string version_ = "1.7.16";
    uint64_t address_ = 0;
    std::vector<uint8_t> data_ = std::vector<uint8_t>(4, 0x5A);
    std::vector<uint16_t> pids_;
    std::optional<uint32_t> writeSize_;
    uint32_t headerSize_ = 128;
    uint32_t checksumDelta_ = 0;
    std::optional<uint32_t> claimedLength_;
};

class L840Container {
public:
    L840Container& date(std::string v) {
        date_ = std::move(v);
        return *this;
    }
    L840Container& serial(std::string v) {
        serial_ = std::move(v);
        return *this;
    }
    L840Container& component(L840Component c) {
        components_.push_back(std::move(c));
        return *this;
    }
    // Damage knobs. headerSize cuts the 64-byte layout short or pads it with zeros.
    L840Container& headerSize(uint32_t v) {
        headerSize_ = v;
        return *this;
    }
    L840Container& marker(uint32_t v) {
        marker_ = v;
        return *this;
    }
    L840Container& count(uint32_t v) {
        count_ = v;
        return *this;
    }
    L840Container& truncateTo(size_t n) {
        truncateTo_ = n;
        return *this;
    }
    L840Container& trailing(std::vector<uint8_t> v) {
        trailing_ = std::move(v);
        return *this;
    }

    std::vector<uint8_t> build() const {
        using namespace l840build;
        std::vector<uint8_t> out(headerSize_ > 64 ? headerSize_ : 64, 0);
        put(out, 0, headerSize_, 4);
        put(out, 4, count_.value_or(static_cast<uint32_t>(components_.size())), 4);
        putText(out, 8, 16, date_);
        putText(out, 24, 16, serial_);
        put(out, 40, marker_, 4);
        out.resize(headerSize_);
        for (const L840Component& c : components_) c.appendTo(out);
        out.insert(out.end(), trailing_.begin(), trailing_.end());
        if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
        return out;
    }

private:
    std::string date_ = "20250408";
    std::string serial_ = "L840-0001";
    std::vector<L840Component> components_;
    uint32_t headerSize_ = 64;
    uint32_t marker_ = 0xFFFFFFFF;
    std::optional<uint32_t> count_;
    std::optional<size_t> truncateTo_;
    std::vector<uint8_t> trailing_;
};
