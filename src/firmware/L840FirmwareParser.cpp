// L840 container parsing: the file header here, the records through L840RecordWalker.
#include "firmware/L840FirmwareParser.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"
#include "firmware/FirmwareMessages.h"

namespace libvxsensor {

using namespace l840container;

namespace {

constexpr L840RecordMessages kMessages{firmwaremsg::kParseFailed, firmwaremsg::kDataPastEnd};

}  // namespace

uint32_t L840FirmwareFileHeader::headerSize() const {
    return readLe32(&raw[kOffHeaderSize]);
}
uint32_t L840FirmwareFileHeader::componentCount() const {
    return readLe32(&raw[kOffCount]);
}
std::string L840FirmwareFileHeader::dateTime() const {
    return readTextField(&raw[kOffDateTime], kTextSize);
}
std::string L840FirmwareFileHeader::serial() const {
    return readTextField(&raw[kOffSerial], kTextSize);
}
uint32_t L840FirmwareFileHeader::marker() const {
    return readLe32(&raw[kOffMarker]);
}

L840FirmwareParser::L840FirmwareParser(const uint8_t* data, uint32_t size) {
    if (data == nullptr || size < 4) {
        throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
    }
    const uint32_t headerSize = readLe32(data);
    if (headerSize > size || headerSize > kMaxHeaderSize) {
        throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
    }
    std::memcpy(fileHeader_.raw.data(), data, std::min(headerSize, kHeaderSize));
    // A header too short to hold the marker reads it as zero and is refused here.
    if (fileHeader_.marker() != kMarker) {
        throw mismatch_firmware_exception_ext(firmwaremsg::kParseFailed);
    }
    const ByteView file(data, size);
    const uint32_t count = fileHeader_.componentCount();
    L840RecordWalker walker(file, headerSize, count, kMessages);
    L840Record component;
    while (walker.next(component)) {
        checkFirmwareData(component);
    }
    components_ = L840Records(file, headerSize, count, count, kMessages);
}

std::string L840FirmwareParser::firmwareVersion() const {
    std::string version;
    for (const L840FirmwareData& component : components_) {
        if (isIspAddress(component.flashAddress())) continue;
        if (component.version().empty()) return {};
        if (!version.empty() && component.version() != version) return {};
        version = component.version();
    }
    return version;
}

void L840FirmwareParser::checkFirmwareData(const L840FirmwareData& firmwareData) {
    if (byteSum(firmwareData.data) != firmwareData.checksum()) {
        throw mismatch_firmware_exception_ext(firmwaremsg::kChecksumMismatch);
    }
}

bool L840FirmwareParser::isFirmwareDataAdaptable(const L840FirmwareData& firmwareData,
                                                 uint16_t pid) {
    return firmwareData.fits(pid);
}

L840ContainerWriter& L840ContainerWriter::date(std::string v) {
    date_ = std::move(v);
    return *this;
}
L840ContainerWriter& L840ContainerWriter::serial(std::string v) {
    serial_ = std::move(v);
    return *this;
}
L840ContainerWriter& L840ContainerWriter::component(L840RecordWriter c) {
    components_.push_back(std::move(c));
    return *this;
}
L840ContainerWriter& L840ContainerWriter::headerSize(uint32_t v) {
    headerSize_ = v;
    return *this;
}
L840ContainerWriter& L840ContainerWriter::marker(uint32_t v) {
    marker_ = v;
    return *this;
}
L840ContainerWriter& L840ContainerWriter::count(uint32_t v) {
    count_ = v;
    return *this;
}
L840ContainerWriter& L840ContainerWriter::truncateTo(size_t n) {
    truncateTo_ = n;
    return *this;
}
L840ContainerWriter& L840ContainerWriter::trailing(std::vector<uint8_t> v) {
    trailing_ = std::move(v);
    return *this;
}

std::vector<uint8_t> L840ContainerWriter::write() const {
    std::vector<uint8_t> out(std::max(headerSize_, kHeaderSize), 0);
    writeLe32(&out[kOffHeaderSize], headerSize_);
    writeLe32(&out[kOffCount], count_.value_or(static_cast<uint32_t>(components_.size())));
    writeTextField(out, kOffDateTime, kTextSize, date_);
    writeTextField(out, kOffSerial, kTextSize, serial_);
    writeLe32(&out[kOffMarker], marker_);
    out.resize(headerSize_);
    for (const L840RecordWriter& c : components_) c.appendTo(out);
    out.insert(out.end(), trailing_.begin(), trailing_.end());
    if (truncateTo_ && *truncateTo_ < out.size()) out.resize(*truncateTo_);
    return out;
}

}  // namespace libvxsensor
