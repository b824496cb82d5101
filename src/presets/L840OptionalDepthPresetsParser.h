// The L840 family's optional-depth-preset file: a header, then preset records that each name a
// flash address and the product ids they fit. Only records that fit the device are kept.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace libvxsensor {

// File header: 0 header size (<= 128), 4 preset count (> 0), 24 product name (16 bytes),
// 40 magic "prst" (0x74737270). Only the first 64 bytes carry meaning.
struct L840OptionalDepthPresetsFileHeader {
    std::array<uint8_t, 64> raw{};
    uint32_t headerSize() const;
    uint32_t presetCount() const;
    std::string productName() const;
    uint32_t magic() const;
};

// Record header (first 128 bytes): 0 header size (<= 128), 4 data length, 8 flash address,
// 16 write size, 20 checksum (byte sum), 104 twelve product ids (0xFFFF first: any device).
struct L840OptionalDepthPresetsData {
    std::array<uint8_t, 128> header{};
    std::vector<uint8_t> data;
    uint32_t dataLength() const;
    uint32_t flashAddress() const;
    uint32_t writeSize() const;
    uint32_t checksum() const;
    uint16_t pid(size_t slot) const;
};

class L840OptionalDepthPresetsParser {
public:
    // Throws mismatch_firmware_exception_ext for a damaged file and std::runtime_error for a
    // checksum mismatch (of any record, kept or not).
    L840OptionalDepthPresetsParser(const uint8_t* data, uint32_t size, uint16_t pid);

    const L840OptionalDepthPresetsFileHeader& getFileHeader() const { return header_; }
    const std::vector<L840OptionalDepthPresetsData>& getDataList() const { return dataList_; }

    static bool isPresetDataAdaptable(const L840OptionalDepthPresetsData& record, uint16_t pid);
    static void checkPresetData(const L840OptionalDepthPresetsData& record);

private:
    L840OptionalDepthPresetsFileHeader header_;
    std::vector<L840OptionalDepthPresetsData> dataList_;
};

}  // namespace libvxsensor
