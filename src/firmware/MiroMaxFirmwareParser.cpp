// MiroMax package parsing: the header is read field by field from the first 256 bytes, which
// are known to be there before any field is touched.
#include "firmware/MiroMaxFirmwareParser.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <utility>

#include "common/ByteOrder.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"
#include "firmware/FirmwareMessages.h"

namespace libvxsensor {

namespace {

MiroMaxFirmwareFileHeader readHeader(const uint8_t* data) {
    MiroMaxFirmwareFileHeader header;
    std::copy_n(data + kMiroMaxOffMagic, header.magic.size(), header.magic.begin());
    header.platform = readTextField(data + kMiroMaxOffPlatform, kMiroMaxTextSize);
    // The last byte of the product name is a terminator whatever the file holds.
    header.productName = readTextField(data + kMiroMaxOffProductName, kMiroMaxTextSize - 1);
    header.firmwareType = readLe32(data + kMiroMaxOffFirmwareType);
    return header;
}

}  // namespace

MiroMaxFirmwareParser::MiroMaxFirmwareParser(ByteView data) {
    if (data.size() <= kMiroMaxHeaderSize || data.size() > std::numeric_limits<uint32_t>::max()) {
        throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
    }
    header_ = readHeader(data.data());
    checkHeader(header_);
    memory_ = data.data();
    total_ = static_cast<uint32_t>(data.size());
}

MiroMaxFirmwareParser::MiroMaxFirmwareParser(const std::string& path) {
    if (!std::ifstream(path, std::ios::binary)) {
        throw libvxsensor_exception_ext("Failed to read firmware file!", EXT_ERROR_GENERIC);
    }
    throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
}

void MiroMaxFirmwareParser::checkHeader(const MiroMaxFirmwareFileHeader& header) {
    const bool magic = std::equal(header.magic.begin(), header.magic.end(), kMiroMaxMagic);
    if (!magic || vx_stricmp(header.platform, kMiroMaxPlatform) != 0) {
        throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
    }
}

const uint8_t* MiroMaxFirmwareParser::getData(uint32_t length) {
    if (offset_ >= total_) return nullptr;
    const uint32_t n = std::min(length, total_ - offset_);
    const uint32_t at = offset_;
    offset_ += n;
    return memory_ + at;
}

MiroMaxPackageWriter& MiroMaxPackageWriter::magic(std::string v) {
    magic_ = std::move(v);
    return *this;
}
MiroMaxPackageWriter& MiroMaxPackageWriter::platform(std::string v) {
    platform_ = std::move(v);
    return *this;
}
MiroMaxPackageWriter& MiroMaxPackageWriter::productName(std::string v) {
    productName_ = std::move(v);
    return *this;
}
MiroMaxPackageWriter& MiroMaxPackageWriter::firmwareType(uint32_t v) {
    firmwareType_ = v;
    return *this;
}
MiroMaxPackageWriter& MiroMaxPackageWriter::payload(std::vector<uint8_t> v) {
    payload_ = std::move(v);
    return *this;
}
MiroMaxPackageWriter& MiroMaxPackageWriter::truncateTo(size_t n) {
    truncateTo_ = n;
    return *this;
}

std::vector<uint8_t> MiroMaxPackageWriter::write() const {
    // Sized once for header and payload: the insert below then copies into room that exists,
    // which is also what keeps GCC 12's bounds warning from misreading it.
    std::vector<uint8_t> out;
    out.reserve(kMiroMaxHeaderSize + payload_.size());
    out.resize(kMiroMaxHeaderSize, 0);
    writeTextField(out, kMiroMaxOffMagic, kMiroMaxMagicSize, magic_);
    writeTextField(out, kMiroMaxOffPlatform, kMiroMaxTextSize, platform_);
    writeTextField(out, kMiroMaxOffProductName, kMiroMaxTextSize, productName_);
    writeLe32(&out[kMiroMaxOffFirmwareType], firmwareType_);
    out.insert(out.end(), payload_.begin(), payload_.end());
    if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
    return out;
}

}  // namespace libvxsensor
