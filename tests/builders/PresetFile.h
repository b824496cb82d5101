// Builds L840 optional-depth-preset files for tests, valid by default, with knobs to damage them:
//   PresetFile().product("Lumex 800").record(PresetRecord().address(0x7F0000).data(bytes)).build()
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace presetbuild {
inline void put(std::vector<uint8_t>& out, size_t at, uint32_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) out[at + i] = static_cast<uint8_t>(value >> (8 * i));
}
}  // namespace presetbuild

class PresetRecord {
public:
    PresetRecord& address(uint32_t v) {
        address_ = v;
        return *this;
    }
    PresetRecord& data(std::vector<uint8_t> v) {
        data_ = std::move(v);
        return *this;
    }
    PresetRecord& pids(std::vector<uint16_t> v) {
        pids_ = std::move(v);
        return *this;
    }
    PresetRecord& writeSize(uint32_t v) {
        writeSize_ = v;
        return *this;
    }
    PresetRecord& checksumOffBy(uint32_t v) {
        checksumDelta_ = v;
        return *this;
    }
    PresetRecord& headerSize(uint32_t v) {
        headerSize_ = v;
        return *this;
    }
    PresetRecord& claimedLength(uint32_t v) {
        claimedLength_ = v;
        return *this;
    }

    void appendTo(std::vector<uint8_t>& out) const {
        using presetbuild::put;
        std::vector<uint8_t> h(128, 0);
        uint32_t sum = 0;
        for (uint8_t b : data_) sum += b;
        const auto length = static_cast<uint32_t>(data_.size());
        put(h, 0, headerSize_, 4);
        put(h, 4, claimedLength_.value_or(length), 4);
        put(h, 8, address_, 4);
        put(h, 16, writeSize_.value_or(length), 4);
        put(h, 20, sum + checksumDelta_, 4);
        for (size_t i = 0; i < pids_.size() && i < 12; ++i) put(h, 104 + 2 * i, pids_[i], 2);
        out.insert(out.end(), h.begin(),
                   h.begin() + static_cast<std::ptrdiff_t>(std::min<uint32_t>(headerSize_, 128)));
        out.insert(out.end(), data_.begin(), data_.end());
    }

private:
    uint32_t address_ = 0x7F0000;
    std::vector<uint8_t> data_ = std::vector<uint8_t>(64, 0x42);
    std::vector<uint16_t> pids_;
    std::optional<uint32_t> writeSize_;
    uint32_t checksumDelta_ = 0;
    uint32_t headerSize_ = 128;
    std::optional<uint32_t> claimedLength_;
};

class PresetFile {
public:
    PresetFile& product(std::string v) {
        product_ = std::move(v);
        return *this;
    }
    PresetFile& record(PresetRecord r) {
        records_.push_back(std::move(r));
        return *this;
    }
    PresetFile& headerSize(uint32_t v) {
        headerSize_ = v;
        return *this;
    }
    PresetFile& magic(uint32_t v) {
        magic_ = v;
        return *this;
    }
    PresetFile& count(uint32_t v) {
        count_ = v;
        return *this;
    }
    PresetFile& truncateTo(size_t n) {
        truncateTo_ = n;
        return *this;
    }

    std::vector<uint8_t> build() const {
        using presetbuild::put;
        std::vector<uint8_t> out(64, 0);
        put(out, 0, headerSize_, 4);
        put(out, 4, count_.value_or(static_cast<uint32_t>(records_.size())), 4);
        for (size_t i = 0; i < product_.size() && i < 15; ++i)
            out[24 + i] = static_cast<uint8_t>(product_[i]);
        put(out, 40, magic_, 4);
        out.resize(headerSize_, 0);
        for (const PresetRecord& r : records_) r.appendTo(out);
        if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
        return out;
    }

private:
    std::string product_ = "Lumex 800";
    std::vector<PresetRecord> records_;
    uint32_t headerSize_ = 64;
    uint32_t magic_ = 0x74737270;  // "prst"
    std::optional<uint32_t> count_;
    std::optional<size_t> truncateTo_;
};
