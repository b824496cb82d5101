// OpenNI image sizes and where each one starts in flash.
#include "firmware/OpenNIFirmwareParser.h"

#include "common/VxExceptionExt.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kFlashEnd = 0x40000;

}  // namespace

OpenNIFirmwareParser::OpenNIFirmwareParser(const uint8_t* data, uint32_t size) {
    // A missing buffer is taken as an empty image rather than read from.
    if (data == nullptr || !isImageSize(size)) {
        throw mismatch_firmware_exception_ext("Invalid input file: Invalid firmware size.");
    }
    image_ = ByteView(data, size);
}

bool OpenNIFirmwareParser::isImageSize(size_t size) {
    return size == 0x20000 || size == 0x30000 || size == 0x40000;
}

uint32_t OpenNIFirmwareParser::getWriteAddress() const {
    if (!isImageSize(image_.size())) {
        // Unreachable after construction; the wording differs from the constructor's and is
        // kept so on purpose.
        throw mismatch_firmware_exception_ext("Invalid input file: invalid size");
    }
    return kFlashEnd - static_cast<uint32_t>(image_.size());
}

}  // namespace libvxsensor
