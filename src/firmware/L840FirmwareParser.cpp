// L840 container parsing: the file header here, the records through L840RecordWalker.
#include "firmware/L840FirmwareParser.h"

#include <algorithm>
#include <cstring>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

using namespace l840container;

namespace {

constexpr L840RecordMessages kMessages{kMsgDamaged, kMsgDataPastEnd};

std::string fieldText(const uint8_t* field, size_t size) {
    return std::string(field, std::find(field, field + size, uint8_t{0}));
}

}  // namespace

uint32_t L840FirmwareFileHeader::headerSize() const {
    return readLe32(&raw[kOffHeaderSize]);
}
uint32_t L840FirmwareFileHeader::componentCount() const {
    return readLe32(&raw[kOffCount]);
}
std::string L840FirmwareFileHeader::dateTime() const {
    return fieldText(&raw[kOffDateTime], kTextSize);
}
std::string L840FirmwareFileHeader::serial() const {
    return fieldText(&raw[kOffSerial], kTextSize);
}
uint32_t L840FirmwareFileHeader::marker() const {
    return readLe32(&raw[kOffMarker]);
}

L840FirmwareParser::L840FirmwareParser(const uint8_t* data, uint32_t size) {
    if (data == nullptr || size < 4) {
        throw mismatch_firmware_exception_ext(kMsgDamaged);
    }
    const uint32_t headerSize = readLe32(data);
    if (headerSize > size || headerSize > kMaxHeaderSize) {
        throw mismatch_firmware_exception_ext(kMsgDamaged);
    }
    std::memcpy(fileHeader_.raw.data(), data, std::min(headerSize, kHeaderSize));
    // A header too short to hold the marker reads it as zero and is refused here.
    if (fileHeader_.marker() != kMarker) {
        throw mismatch_firmware_exception_ext(kMsgDamaged);
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

void L840FirmwareParser::checkFirmwareData(const L840FirmwareData& firmwareData) {
    if (byteSum(firmwareData.data) != firmwareData.checksum()) {
        throw mismatch_firmware_exception_ext(kMsgChecksum);
    }
}

bool L840FirmwareParser::isFirmwareDataAdaptable(const L840FirmwareData& firmwareData,
                                                 uint16_t pid) {
    return firmwareData.fits(pid);
}

}  // namespace libvxsensor
