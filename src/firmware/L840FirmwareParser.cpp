// L840 container parsing. Every size in the file is hostile: offsets are checked as
// "length > size - position" with position <= size already known, which cannot wrap even where
// size_t is 32 bits.
#include "firmware/L840FirmwareParser.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

namespace {

// The header is damaged or the file is cut short inside a header.
const char* const kMsgParseFailed =
    "Parse firmware data failed!\nInvalid input data or data has been damaged";
// A record's data reaches past the end of the file. The missing '!' is deliberate: this text is
// observable behaviour, keep it apart from kMsgParseFailed.
const char* const kMsgDataPastEnd =
    "Parse firmware data failed\nInvalid input data or data has been damaged";
const char* const kMsgChecksum = "Checksum mismatch!\nInvalid input file or file has been damaged";

// Text up to the first NUL, never past the field.
std::string fieldText(const uint8_t* field, size_t size) {
    const uint8_t* end = std::find(field, field + size, uint8_t{0});
    return std::string(field, end);
}

[[noreturn]] void fail(const char* message) {
    throw mismatch_firmware_exception_ext(message);
}

// The checksum is the byte sum of the data, mod 2^32.
void checkSum(ByteView data, uint32_t expected) {
    uint32_t sum = 0;
    for (const uint8_t byte : data) {
        sum += byte;
    }
    if (sum != expected) {
        fail(kMsgChecksum);
    }
}

}  // namespace

uint32_t L840FirmwareFileHeader::headerSize() const {
    return readLe32(&raw[kL840OffHeaderSize]);
}
uint32_t L840FirmwareFileHeader::componentCount() const {
    return readLe32(&raw[kL840OffCount]);
}
std::string L840FirmwareFileHeader::dateTime() const {
    return fieldText(&raw[kL840OffDateTime], kL840TextSize);
}
std::string L840FirmwareFileHeader::serial() const {
    return fieldText(&raw[kL840OffSerial], kL840TextSize);
}
uint32_t L840FirmwareFileHeader::marker() const {
    return readLe32(&raw[kL840OffMarker]);
}

uint32_t L840RecordHeader::headerSize() const {
    return readLe32(&header[kL840OffRecordSize]);
}
uint32_t L840RecordHeader::dataLength() const {
    return readLe32(&header[kL840OffDataLength]);
}
uint64_t L840RecordHeader::flashAddress() const {
    return readLe64(&header[kL840OffFlashAddress]);
}
uint32_t L840RecordHeader::writeSize() const {
    return readLe32(&header[kL840OffWriteSize]);
}
uint32_t L840RecordHeader::checksum() const {
    return readLe32(&header[kL840OffChecksum]);
}
std::string L840RecordHeader::version() const {
    return fieldText(&header[kL840OffVersion], kL840TextSize);
}
std::string L840RecordHeader::name() const {
    return fieldText(&header[kL840OffName], kL840NameSize);
}
uint16_t L840RecordHeader::pid(size_t slot) const {
    return slot < kL840PidSlots ? readLe16(&header[kL840OffPids + 2 * slot]) : uint16_t{0};
}

L840ContainerView::L840ContainerView(const uint8_t* data, uint32_t size) {
    if (data == nullptr || size < 4) {
        fail(kMsgParseFailed);
    }
    const uint32_t headerSize = readLe32(data);
    if (headerSize > size || headerSize > kL840MaxHeaderSize) {
        fail(kMsgParseFailed);
    }
    std::memcpy(fileHeader_.raw.data(), data, std::min(headerSize, kL840FileHeaderSize));
    // A header too short to hold the marker reads it as zero and is refused here.
    if (fileHeader_.marker() != kL840Marker) {
        fail(kMsgParseFailed);
    }

    // The count is not trusted for sizing anything: a lying count runs out of file first.
    const uint32_t count = fileHeader_.componentCount();
    uint32_t pos = headerSize;
    for (uint32_t i = 0; i < count; ++i) {
        if (size - pos < 4) {
            fail(kMsgParseFailed);
        }
        const uint32_t recordSize = readLe32(data + pos);
        // A record header must at least hold its own size field; one that claims less would
        // consume nothing and let a huge count spin here without ever reaching the file's end.
        if (recordSize < 4 || recordSize > kL840RecordHeaderSize || recordSize > size - pos) {
            fail(kMsgParseFailed);
        }
        L840ComponentView component;
        std::memcpy(component.header.data(), data + pos, recordSize);
        if (component.pid(0) == 0) {
            // No product ids: the component fits every device.
            writeLe16(&component.header[kL840OffPids], kL840AnyProduct);
        }
        pos += recordSize;

        const uint32_t dataLength = component.dataLength();
        if (dataLength > size - pos) {
            fail(kMsgDataPastEnd);
        }
        component.data = ByteView(data + pos, dataLength);
        pos += dataLength;
        checkSum(component.data, component.checksum());
        components_.push_back(component);
    }
}

L840FirmwareParser::L840FirmwareParser(const uint8_t* data, uint32_t size) {
    const L840ContainerView container(data, size);
    fileHeader_ = container.getFileHeader();
    firmwareDataList_.reserve(container.components().size());
    for (const L840ComponentView& view : container.components()) {
        L840FirmwareData component;
        component.header = view.header;
        component.data.assign(view.data.begin(), view.data.end());
        firmwareDataList_.push_back(std::move(component));
    }
}

void L840FirmwareParser::checkFirmwareData(const L840FirmwareData& firmwareData) {
    checkSum(firmwareData.data, firmwareData.checksum());
}

bool L840FirmwareParser::isFirmwareDataAdaptable(const L840RecordHeader& firmwareData,
                                                 uint16_t pid) {
    if (firmwareData.pid(0) == kL840AnyProduct) {
        return true;
    }
    for (size_t slot = 0; slot < kL840PidSlots; ++slot) {
        const uint16_t slotPid = firmwareData.pid(slot);
        if (slotPid != 0 && slotPid == pid) {
            return true;
        }
    }
    return false;
}

}  // namespace libvxsensor
