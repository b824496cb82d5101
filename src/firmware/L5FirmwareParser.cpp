// L5 image checks and the size-to-address table of the family's flash layout.
#include "firmware/L5FirmwareParser.h"

#include <algorithm>
#include <utility>

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

L5ImageWriter& L5ImageWriter::pid(uint16_t v) {
    pid_ = v;
    return *this;
}
L5ImageWriter& L5ImageWriter::body(std::vector<uint8_t> v) {
    body_ = std::move(v);
    return *this;
}
L5ImageWriter& L5ImageWriter::size(uint32_t v) {
    size_ = v;
    return *this;
}
L5ImageWriter& L5ImageWriter::magic(uint32_t v) {
    magic_ = v;
    return *this;
}
L5ImageWriter& L5ImageWriter::truncateTo(size_t n) {
    truncateTo_ = n;
    return *this;
}

std::vector<uint8_t> L5ImageWriter::write() const {
    std::vector<uint8_t> out;
    if (body_) {
        out = *body_;
    } else {
        out.resize(size_.value_or(1500) - std::min<uint32_t>(size_.value_or(1500), kL5TrailerSize));
        for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    if (size_ && *size_ >= kL5TrailerSize) out.resize(*size_ - kL5TrailerSize, 0xFF);
    std::vector<uint8_t> trailer(kL5TrailerSize, 0);
    writeLe32(&trailer[kL5OffMagic], magic_);
    writeLe16(&trailer[kL5OffPid], pid_);
    out.insert(out.end(), trailer.begin(), trailer.end());
    if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
    return out;
}

}  // namespace libvxsensor
