// Parsing of preset files: the header here, the records through L840RecordWalker.
#include "presets/L840OptionalDepthPresetsParser.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

using namespace l840presets;

namespace {

constexpr L840RecordMessages kMessages{kMsgDamaged, kMsgDataPastEnd};

std::string boundedText(const uint8_t* field, size_t width) {
    return std::string(field, std::find(field, field + width, uint8_t{0}));
}

}  // namespace

uint32_t L840OptionalDepthPresetsFileHeader::headerSize() const {
    return readLe32(raw.data() + kOffHeaderSize);
}
uint32_t L840OptionalDepthPresetsFileHeader::presetCount() const {
    return readLe32(raw.data() + kOffCount);
}
std::string L840OptionalDepthPresetsFileHeader::productName() const {
    return boundedText(raw.data() + kOffProductName, kProductNameSize);
}
uint32_t L840OptionalDepthPresetsFileHeader::magic() const {
    return readLe32(raw.data() + kOffMagic);
}

L840OptionalDepthPresetsParser::L840OptionalDepthPresetsParser(const uint8_t* data, uint32_t size,
                                                               uint16_t pid) {
    if (data == nullptr || size < 4) throw mismatch_firmware_exception_ext(kMsgDamaged);
    const uint32_t headerSize = readLe32(data);
    if (headerSize > kMaxHeaderSize || headerSize > size) {
        throw mismatch_firmware_exception_ext(kMsgDamaged);
    }
    std::memcpy(header_.raw.data(), data, std::min<size_t>(headerSize, header_.raw.size()));
    if (header_.presetCount() == 0 || header_.magic() != kMagic) {
        throw mismatch_firmware_exception_ext(kMsgDamaged);
    }
    const ByteView file(data, size);
    const uint32_t count = header_.presetCount();
    L840RecordWalker walker(file, headerSize, count, kMessages);
    L840Record record;
    uint32_t kept = 0;
    while (walker.next(record)) {
        // Every record is verified, the ones that will be dropped too.
        checkPresetData(record);
        kept += isPresetDataAdaptable(record, pid) ? 1u : 0u;
    }
    dataList_ = L840Records(file, headerSize, count, kept, kMessages, true, pid);
}

bool L840OptionalDepthPresetsParser::isPresetDataAdaptable(
    const L840OptionalDepthPresetsData& record, uint16_t pid) {
    return record.fits(pid);
}

void L840OptionalDepthPresetsParser::checkPresetData(const L840OptionalDepthPresetsData& record) {
    if (byteSum(record.data) != record.checksum()) {
        throw std::runtime_error(kMsgChecksum);
    }
}

}  // namespace libvxsensor
