// L5-family firmware image (also Pellin3 and Lumex470): a flat flash image whose last 100 bytes
// are an information trailer. The whole file, trailer included, is what goes into flash.
//
// Trailer (little-endian, offsets from its start):
//   0 u32 magic 0xA55ACDDC | 4 u16 not interpreted | 6 u16 product id | 8 92 bytes not interpreted
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "common/ByteView.h"

namespace libvxsensor {

inline constexpr uint32_t kL5TrailerSize = 100;
inline constexpr uint32_t kL5TrailerMagic = 0xA55ACDDC;
inline constexpr size_t kL5OffMagic = 0;
inline constexpr size_t kL5OffPid = 6;

class L5FirmwareParser {
public:
    // Checks the image's trailer; throws mismatch_firmware_exception_ext. Borrows `data`, which
    // must outlive the parser: an image of several MiB is not worth a second copy on a board.
    L5FirmwareParser(const uint8_t* data, uint32_t size);

    // The image as it goes to flash, still in the caller's memory.
    ByteView image() const { return image_; }
    // A copy of the image, for callers that keep it beyond the parser's bytes.
    std::vector<uint8_t> getFirmwareData() const { return {image_.begin(), image_.end()}; }
    // The 100-byte trailer at the end of the image.
    const uint8_t* getFileInfo() const { return image_.end() - kL5TrailerSize; }
    bool isFirmwareAdaptable(uint16_t pid) const;
    // Chosen by the image size; throws mismatch_firmware_exception_ext for a size it does not know.
    uint32_t getWriteAddress() const;

private:
    ByteView image_;
};

// Writes an L5 image: the body, then the trailer with its magic and product id. By default the
// body is a counting pattern filling the image to its size; a given body is padded with 0xFF (as
// erased flash reads) up to the size. The damage knobs make files the parser must refuse.
class L5ImageWriter {
public:
    L5ImageWriter& pid(uint16_t v);
    L5ImageWriter& body(std::vector<uint8_t> v);
    // The whole image, trailer included.
    L5ImageWriter& size(uint32_t v);
    L5ImageWriter& magic(uint32_t v);
    L5ImageWriter& truncateTo(size_t n);

    std::vector<uint8_t> write() const;

private:
    uint16_t pid_ = 0x0670;
    std::optional<std::vector<uint8_t>> body_;
    std::optional<uint32_t> size_;
    uint32_t magic_ = kL5TrailerMagic;
    std::optional<size_t> truncateTo_;
};

}  // namespace libvxsensor
