// L5 image checks and the size-to-address table of the family's flash layout.
#include "firmware/L5FirmwareParser.h"

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

L5FirmwareParser::L5FirmwareParser(const uint8_t* data, uint32_t size) {
    // A missing buffer is taken as an empty file rather than read from.
    if (data == nullptr || size < kL5TrailerSize) {
        throw mismatch_firmware_exception_ext("Invalid input file: too small");
    }
    image_ = ByteView(data, size);
    if (readLe32(getFileInfo() + kL5OffMagic) != kL5TrailerMagic) {
        throw mismatch_firmware_exception_ext("Invalid input file: invalid magic");
    }
}

bool L5FirmwareParser::isFirmwareAdaptable(uint16_t pid) const {
    return readLe16(getFileInfo() + kL5OffPid) == pid;
}

uint32_t L5FirmwareParser::getWriteAddress() const {
    const size_t n = image_.size();
    // Small images (boot stages) go to 0 whatever their exact size; the larger ones must match a
    // known layout byte for byte.
    if (n <= 0x10000 || n == 0x60000 || n == 0xA0000) return 0x00000;
    if (n == 0x50000) return 0x10000;
    if (n == 0x30000 || n == 0x40000) return 0x20000;
    throw mismatch_firmware_exception_ext("Invalid input file: invalid size");
}

}  // namespace libvxsensor
