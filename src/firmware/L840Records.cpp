// Walking L840 records. Every size in the file is hostile: offsets are checked as
// "length > size - position" with position <= size already known, which cannot wrap even where
// size_t is 32 bits.
#include "firmware/L840Records.h"

#include <algorithm>
#include <cstring>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

namespace {

// Text up to the first NUL, never past the field.
std::string fieldText(const uint8_t* field, size_t size) {
    return std::string(field, std::find(field, field + size, uint8_t{0}));
}

}  // namespace

using namespace l840record;

uint32_t L840Record::headerSize() const {
    return readLe32(&header[kOffHeaderSize]);
}
uint32_t L840Record::dataLength() const {
    return readLe32(&header[kOffDataLength]);
}
uint64_t L840Record::flashAddress() const {
    return readLe64(&header[kOffFlashAddress]);
}
uint32_t L840Record::writeSize() const {
    return readLe32(&header[kOffWriteSize]);
}
uint32_t L840Record::checksum() const {
    return readLe32(&header[kOffChecksum]);
}
std::string L840Record::version() const {
    return fieldText(&header[kOffVersion], kVersionSize);
}
std::string L840Record::name() const {
    return fieldText(&header[kOffName], kNameSize);
}
uint16_t L840Record::pid(size_t slot) const {
    return slot < kPidSlots ? readLe16(&header[kOffPids + 2 * slot]) : uint16_t{0};
}

bool L840Record::fits(uint16_t product) const {
    if (pid(0) == kAnyProduct) {
        return true;
    }
    for (size_t slot = 0; slot < kPidSlots; ++slot) {
        if (pid(slot) != 0 && pid(slot) == product) {
            return true;
        }
    }
    return false;
}

uint32_t byteSum(ByteView data) {
    uint32_t sum = 0;
    for (const uint8_t byte : data) {
        sum += byte;
    }
    return sum;
}

L840RecordWalker::L840RecordWalker(ByteView file, uint32_t first, uint32_t count,
                                   const L840RecordMessages& messages)
    : file_(file), pos_(first), count_(count), messages_(messages) {}

bool L840RecordWalker::next(L840Record& record) {
    if (index_ == count_) {
        return false;
    }
    const auto size = static_cast<uint32_t>(file_.size());
    if (pos_ > size || size - pos_ < kMinHeaderSize) {
        throw mismatch_firmware_exception_ext(messages_.damaged);
    }
    const uint8_t* at = file_.data() + pos_;
    const uint32_t headerSize = readLe32(at);
    // A header that cannot hold its own size field would consume nothing of the file.
    if (headerSize < kMinHeaderSize || headerSize > kMaxHeaderSize || headerSize > size - pos_) {
        throw mismatch_firmware_exception_ext(messages_.damaged);
    }
    record.header.fill(0);
    std::memcpy(record.header.data(), at, headerSize);
    if (record.pid(0) == 0) {
        // A record that names no product fits every device.
        writeLe16(&record.header[kOffPids], kAnyProduct);
    }
    pos_ += headerSize;
    const uint32_t length = record.dataLength();
    if (length > size - pos_) {
        throw mismatch_firmware_exception_ext(messages_.dataPastEnd);
    }
    record.data = ByteView(file_.data() + pos_, length);
    pos_ += length;
    ++index_;
    return true;
}

L840Records::L840Records(ByteView file, uint32_t first, uint32_t count, uint32_t size,
                         const L840RecordMessages& messages, bool filter, uint16_t onlyFitting)
    : file_(file),
      first_(first),
      count_(count),
      size_(size),
      messages_(messages),
      filter_(filter),
      onlyFitting_(onlyFitting) {}

L840Records::iterator::iterator(const L840Records& records, uint32_t visited)
    : records_(&records),
      walker_(records.file_, records.first_, records.count_, records.messages_),
      visited_(visited) {
    if (visited_ < records_->size_) {
        advance();
    }
}

L840Records::iterator& L840Records::iterator::operator++() {
    if (++visited_ < records_->size_) {
        advance();
    }
    return *this;
}

void L840Records::iterator::advance() {
    while (walker_.next(record_)) {
        if (!records_->filter_ || record_.fits(records_->onlyFitting_)) {
            return;
        }
    }
    visited_ = records_->size_;  // a run checked whole cannot end early; stop if it did
}

}  // namespace libvxsensor
