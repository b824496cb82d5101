// Parsing of preset files: the header here, the records through L840RecordWalker.
#include "presets/L840OptionalDepthPresetsParser.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"
#include "firmware/FirmwareMessages.h"

namespace libvxsensor {

using namespace l840presets;

namespace {

constexpr L840RecordMessages kMessages{kMsgDamaged, kMsgDataPastEnd};

}  // namespace

uint32_t L840OptionalDepthPresetsFileHeader::headerSize() const {
    return readLe32(raw.data() + kOffHeaderSize);
}
uint32_t L840OptionalDepthPresetsFileHeader::presetCount() const {
    return readLe32(raw.data() + kOffCount);
}
std::string L840OptionalDepthPresetsFileHeader::productName() const {
    return readTextField(raw.data() + kOffProductName, kProductNameSize);
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
        throw std::runtime_error(firmwaremsg::kChecksumMismatch);
    }
}

L840PresetFileWriter& L840PresetFileWriter::product(std::string v) {
    product_ = std::move(v);
    return *this;
}
L840PresetFileWriter& L840PresetFileWriter::record(L840RecordWriter r) {
    records_.push_back(std::move(r));
    return *this;
}
L840PresetFileWriter& L840PresetFileWriter::headerSize(uint32_t v) {
    headerSize_ = v;
    return *this;
}
L840PresetFileWriter& L840PresetFileWriter::magic(uint32_t v) {
    magic_ = v;
    return *this;
}
L840PresetFileWriter& L840PresetFileWriter::count(uint32_t v) {
    count_ = v;
    return *this;
}
L840PresetFileWriter& L840PresetFileWriter::truncateTo(size_t n) {
    truncateTo_ = n;
    return *this;
}

std::vector<uint8_t> L840PresetFileWriter::write() const {
    std::vector<uint8_t> out(std::max(headerSize_, kHeaderSize), 0);
    writeLe32(&out[kOffHeaderSize], headerSize_);
    writeLe32(&out[kOffCount], count_.value_or(static_cast<uint32_t>(records_.size())));
    writeTextField(out, kOffProductName, kProductNameSize, product_);
    writeLe32(&out[kOffMagic], magic_);
    out.resize(headerSize_);
    for (const L840RecordWriter& r : records_) r.appendTo(out);
    if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
    return out;
}

}  // namespace libvxsensor
