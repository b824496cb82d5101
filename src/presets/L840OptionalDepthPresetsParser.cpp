// Parsing of preset files. Every length and offset comes from the file and is checked before
// use with arithmetic that cannot wrap on a 32-bit board.
#include "presets/L840OptionalDepthPresetsParser.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kMagic = 0x74737270;  // "prst"
constexpr uint32_t kMaxHeaderSize = 128;
constexpr size_t kPidSlots = 12;
constexpr size_t kPidOffset = 104;
// The one message without "!" is the one a data run past the end has always produced.
constexpr const char* kDamaged =
    "Parse preset data failed!\nInvalid input data or data has been damaged";
constexpr const char* kDataPastEnd =
    "Parse preset data failed\nInvalid input data or data has been damaged";

[[noreturn]] void damaged(const char* message = kDamaged) {
    throw mismatch_firmware_exception_ext(message);
}

std::string boundedText(const uint8_t* field, size_t width) {
    const auto* text = reinterpret_cast<const char*>(field);
    return std::string(text, strnlen(text, width));
}

}  // namespace

uint32_t L840OptionalDepthPresetsFileHeader::headerSize() const {
    return readLe32(raw.data());
}
uint32_t L840OptionalDepthPresetsFileHeader::presetCount() const {
    return readLe32(raw.data() + 4);
}
std::string L840OptionalDepthPresetsFileHeader::productName() const {
    return boundedText(raw.data() + 24, 16);
}
uint32_t L840OptionalDepthPresetsFileHeader::magic() const {
    return readLe32(raw.data() + 40);
}

uint32_t L840OptionalDepthPresetsData::dataLength() const {
    return readLe32(header.data() + 4);
}
uint32_t L840OptionalDepthPresetsData::flashAddress() const {
    return readLe32(header.data() + 8);
}
uint32_t L840OptionalDepthPresetsData::writeSize() const {
    return readLe32(header.data() + 16);
}
uint32_t L840OptionalDepthPresetsData::checksum() const {
    return readLe32(header.data() + 20);
}
uint16_t L840OptionalDepthPresetsData::pid(size_t slot) const {
    return slot < kPidSlots ? readLe16(header.data() + kPidOffset + 2 * slot) : 0;
}

L840OptionalDepthPresetsParser::L840OptionalDepthPresetsParser(const uint8_t* data, uint32_t size,
                                                               uint16_t pid) {
    if (data == nullptr || size < 4) damaged();
    const uint32_t headerSize = readLe32(data);
    if (headerSize > kMaxHeaderSize || headerSize > size) damaged();
    std::memcpy(header_.raw.data(), data, std::min<size_t>(headerSize, header_.raw.size()));
    if (header_.presetCount() == 0 || header_.magic() != kMagic) damaged();

    uint32_t pos = headerSize;
    for (uint32_t i = 0; i < header_.presetCount(); ++i) {
        // A record header must at least hold its own size field; otherwise a huge count over
        // empty records would spin without consuming the file.
        if (size - pos < 4) damaged();
        const uint32_t recordSize = readLe32(data + pos);
        if (recordSize < 4 || recordSize > kMaxHeaderSize || recordSize > size - pos) damaged();
        L840OptionalDepthPresetsData record;
        std::memcpy(record.header.data(), data + pos, recordSize);
        if (record.pid(0) == 0) {
            writeLe16(record.header.data() + kPidOffset, 0xFFFF);  // names no product: fits all
        }
        pos += recordSize;
        if (record.dataLength() > size - pos) damaged(kDataPastEnd);
        record.data.assign(data + pos, data + pos + record.dataLength());
        pos += record.dataLength();
        checkPresetData(record);
        if (isPresetDataAdaptable(record, pid)) {
            dataList_.push_back(std::move(record));
        }
    }
}

bool L840OptionalDepthPresetsParser::isPresetDataAdaptable(
    const L840OptionalDepthPresetsData& record, uint16_t pid) {
    if (record.pid(0) == 0xFFFF) return true;
    for (size_t k = 0; k < kPidSlots; ++k) {
        if (record.pid(k) != 0 && record.pid(k) == pid) return true;
    }
    return false;
}

void L840OptionalDepthPresetsParser::checkPresetData(const L840OptionalDepthPresetsData& record) {
    uint32_t sum = 0;
    for (const uint8_t byte : record.data) sum += byte;
    if (sum != record.checksum()) {
        throw std::runtime_error("Checksum mismatch!\nInvalid input file or file has been damaged");
    }
}

}  // namespace libvxsensor
