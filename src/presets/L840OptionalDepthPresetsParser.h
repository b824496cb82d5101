// The L840 family's optional-depth-preset file: a header, then preset records in the layout of
// L840Records.h, each naming a flash address and the product ids it fits. Only records that fit
// the device are handed out.
//
// File header (first record starts at its declared size, at most 128; 64 bytes carry meaning):
//   0 u32 header size | 4 u32 preset count (not 0) | 8 16 bytes not interpreted
//   24 char[16] product name | 40 u32 magic "prst" (0x74737270) | 44 20 bytes not interpreted
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "firmware/L840Records.h"

namespace libvxsensor {

namespace l840presets {
inline constexpr uint32_t kHeaderSize = 64;
inline constexpr uint32_t kMaxHeaderSize = 128;
inline constexpr uint32_t kMagic = 0x74737270;  // "prst"
inline constexpr size_t kOffHeaderSize = 0;
inline constexpr size_t kOffCount = 4;
inline constexpr size_t kOffProductName = 24;
inline constexpr size_t kProductNameSize = 16;
inline constexpr size_t kOffMagic = 40;
// The one message without "!" is the one a data run past the end has always produced.
inline constexpr const char* kMsgDamaged =
    "Parse preset data failed!\nInvalid input data or data has been damaged";
inline constexpr const char* kMsgDataPastEnd =
    "Parse preset data failed\nInvalid input data or data has been damaged";
}  // namespace l840presets

struct L840OptionalDepthPresetsFileHeader {
    std::array<uint8_t, l840presets::kHeaderSize> raw{};
    uint32_t headerSize() const;
    uint32_t presetCount() const;
    std::string productName() const;
    uint32_t magic() const;
};

// A preset: its record header, its data still in the file.
using L840OptionalDepthPresetsData = L840Record;

class L840OptionalDepthPresetsParser {
public:
    // Checks the whole file in one pass. Throws mismatch_firmware_exception_ext for a damaged
    // file and std::runtime_error for a checksum mismatch (of any record, kept or not). Borrows
    // `data`, which must outlive the parser and every record it hands out.
    L840OptionalDepthPresetsParser(const uint8_t* data, uint32_t size, uint16_t pid);

    const L840OptionalDepthPresetsFileHeader& getFileHeader() const { return header_; }
    // The records that fit the product, in file order, walked on demand.
    const L840Records& getDataList() const { return dataList_; }

    static bool isPresetDataAdaptable(const L840OptionalDepthPresetsData& record, uint16_t pid);
    static void checkPresetData(const L840OptionalDepthPresetsData& record);

private:
    L840OptionalDepthPresetsFileHeader header_;
    L840Records dataList_;
};

// Writes a preset file: the header with the count and magic computed, then the records. A valid
// file by default; the damage knobs make files the parser must refuse.
class L840PresetFileWriter {
public:
    L840PresetFileWriter& product(std::string v);
    L840PresetFileWriter& record(L840RecordWriter r);
    // Damage: the declared header size, another magic, another count, the file cut to `n`.
    L840PresetFileWriter& headerSize(uint32_t v);
    L840PresetFileWriter& magic(uint32_t v);
    L840PresetFileWriter& count(uint32_t v);
    L840PresetFileWriter& truncateTo(size_t n);

    std::vector<uint8_t> write() const;

private:
    std::string product_ = "Lumex 800";
    std::vector<L840RecordWriter> records_;
    uint32_t headerSize_ = l840presets::kHeaderSize;
    uint32_t magic_ = l840presets::kMagic;
    std::optional<uint32_t> count_;
    std::optional<size_t> truncateTo_;
};

}  // namespace libvxsensor
