// MiroMax package parsing: the header is read field by field from the first 256 bytes, which
// are known to be there before any field is touched.
#include "firmware/MiroMaxFirmwareParser.h"

#include <algorithm>
#include <limits>

#include "common/ByteOrder.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

namespace {

constexpr const char* kParseFailedMessage =
    "Parse firmware data failed!\nInvalid input data or data has been damaged";
constexpr std::array<uint8_t, 4> kMagic{'Q', 'Z', 'T', 'W'};
constexpr const char* kPlatform = "jetson nano";

std::string fieldText(const uint8_t* field, size_t size) {
    return std::string(field, std::find(field, field + size, uint8_t{0}));
}

MiroMaxFirmwareFileHeader readHeader(const uint8_t* data) {
    MiroMaxFirmwareFileHeader header;
    std::copy_n(data + kMiroMaxOffMagic, header.magic.size(), header.magic.begin());
    header.platform = fieldText(data + kMiroMaxOffPlatform, kMiroMaxTextSize);
    // The last byte of the product name is a terminator whatever the file holds.
    header.productName = fieldText(data + kMiroMaxOffProductName, kMiroMaxTextSize - 1);
    header.firmwareType = readLe32(data + kMiroMaxOffFirmwareType);
    return header;
}

}  // namespace

MiroMaxFirmwareParser::MiroMaxFirmwareParser(ByteView data) {
    if (data.size() <= kMiroMaxHeaderSize || data.size() > std::numeric_limits<uint32_t>::max()) {
        throw mismatch_firmware_exception_ext(kParseFailedMessage);
    }
    header_ = readHeader(data.data());
    checkHeader(header_);
    memory_ = data.data();
    total_ = static_cast<uint32_t>(data.size());
}

MiroMaxFirmwareParser::MiroMaxFirmwareParser(const std::string& path) {
    file_.open(path, std::ios::binary | std::ios::ate);
    if (!file_.is_open()) {
        throw libvxsensor_exception_ext("Failed to read firmware file!", EXT_ERROR_GENERIC);
    }
    file_.close();
    // Refused whatever the file holds: packages are only taken from memory.
    throw mismatch_firmware_exception_ext(kParseFailedMessage);
}

void MiroMaxFirmwareParser::checkHeader(const MiroMaxFirmwareFileHeader& header) {
    if (header.magic != kMagic || vx_stricmp(header.platform, kPlatform) != 0) {
        throw mismatch_firmware_exception_ext(kParseFailedMessage);
    }
}

const uint8_t* MiroMaxFirmwareParser::getData(uint32_t length) {
    if (offset_ >= total_) return nullptr;
    const uint32_t n = std::min(length, total_ - offset_);
    const uint32_t at = offset_;
    offset_ += n;
    if (memory_ != nullptr) return memory_ + at;
    // File mode, kept for completeness: no constructor leaves a parser in it.
    chunk_.resize(n);
    file_.seekg(at);
    file_.read(reinterpret_cast<char*>(chunk_.data()), static_cast<std::streamsize>(n));
    if (file_.gcount() != static_cast<std::streamsize>(n)) {
        throw libvxsensor_exception_ext("Unable to read all firmware data!", EXT_ERROR_GENERIC);
    }
    return chunk_.data();
}

}  // namespace libvxsensor
