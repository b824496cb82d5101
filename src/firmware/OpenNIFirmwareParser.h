// OpenNI firmware image: a raw flash image with no header, magic or checksum. It always ends at
// flash address 0x40000, so its length alone decides where it starts.
#pragma once

#include <cstdint>
#include <vector>

namespace libvxsensor {

class OpenNIFirmwareParser {
public:
    // Copies the image; throws mismatch_firmware_exception_ext unless it is 128, 192 or 256 KiB.
    OpenNIFirmwareParser(const uint8_t* data, uint32_t size);

    const std::vector<uint8_t>& getFirmwareData() const { return data_; }
    uint32_t getWriteAddress() const;

private:
    std::vector<uint8_t> data_;
};

}  // namespace libvxsensor
