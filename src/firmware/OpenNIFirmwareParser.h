// OpenNI firmware image: a raw flash image with no header, magic or checksum. It always ends at
// flash address 0x40000, so its length alone decides where it starts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "common/ByteView.h"

namespace libvxsensor {

class OpenNIFirmwareParser {
public:
    // Throws mismatch_firmware_exception_ext unless the image is 128, 192 or 256 KiB. Borrows
    // `data`, which must outlive the parser.
    OpenNIFirmwareParser(const uint8_t* data, uint32_t size);

    // The image as it goes to flash, still in the caller's memory.
    ByteView image() const { return image_; }
    // A copy of the image, for callers that keep it beyond the parser's bytes.
    std::vector<uint8_t> getFirmwareData() const { return {image_.begin(), image_.end()}; }
    uint32_t getWriteAddress() const;

    // 128, 192 or 256 KiB: the only sizes an image has.
    static bool isImageSize(size_t size);

private:
    ByteView image_;
};

}  // namespace libvxsensor
