// Walking L840 records. Every size in the file is hostile: offsets are checked as
// "length > size - position" with position <= size already known, which cannot wrap even where
// size_t is 32 bits.
#include "firmware/L840Records.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/ByteOrder.h"
#include "common/VxExceptionExt.h"

namespace libvxsensor {

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
    return readTextField(&header[kOffVersion], kVersionSize);
}
std::string L840Record::name() const {
    return readTextField(&header[kOffName], kNameSize);
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
                                   const L840RecordMessages& messages, Mode mode)
    : file_(file), pos_(first), count_(count), messages_(messages), mode_(mode) {}

bool L840RecordWalker::damaged(RecordDefect defect, const char* message) {
    if (mode_ == Mode::Strict) {
        throw mismatch_firmware_exception_ext(message);
    }
    defect_ = defect;
    count_ = index_;  // nothing after a damaged record can be trusted to start where it seems
    return defect == RecordDefect::DataPastEnd;
}

bool L840RecordWalker::next(L840Record& record) {
    if (index_ == count_) {
        return false;
    }
    const auto size = static_cast<uint32_t>(file_.size());
    if (pos_ > size || size - pos_ < kMinHeaderSize) {
        return damaged(RecordDefect::NoHeader, messages_.damaged);
    }
    const uint8_t* at = file_.data() + pos_;
    const uint32_t headerSize = readLe32(at);
    // A header that cannot hold its own size field would consume nothing of the file.
    if (headerSize < kMinHeaderSize || headerSize > kMaxHeaderSize || headerSize > size - pos_) {
        return damaged(RecordDefect::NoHeader, messages_.damaged);
    }
    record.header.fill(0);
    std::memcpy(record.header.data(), at, headerSize);
    if (record.pid(0) == 0) {
        // A record that names no product fits every device.
        writeLe16(&record.header[kOffPids], kAnyProduct);
    }
    const uint32_t dataAt = pos_ + headerSize;
    const uint32_t length = record.dataLength();
    if (length > size - dataAt) {
        record.data = ByteView(file_.data() + dataAt, size - dataAt);
        missing_ = length - (size - dataAt);
        return damaged(RecordDefect::DataPastEnd, messages_.dataPastEnd);
    }
    record.data = ByteView(file_.data() + dataAt, length);
    pos_ = dataAt + length;
    ++index_;
    return true;
}

L840RecordWriter& L840RecordWriter::name(std::string v) {
    name_ = std::move(v);
    return *this;
}
L840RecordWriter& L840RecordWriter::version(std::string v) {
    version_ = std::move(v);
    return *this;
}
L840RecordWriter& L840RecordWriter::address(uint64_t v) {
    address_ = v;
    return *this;
}
L840RecordWriter& L840RecordWriter::data(std::vector<uint8_t> v) {
    data_ = std::move(v);
    return *this;
}
L840RecordWriter& L840RecordWriter::pids(std::vector<uint16_t> v) {
    pids_ = std::move(v);
    return *this;
}
L840RecordWriter& L840RecordWriter::writeSize(uint32_t v) {
    writeSize_ = v;
    return *this;
}
L840RecordWriter& L840RecordWriter::headerSize(uint32_t v) {
    headerSize_ = v;
    return *this;
}
L840RecordWriter& L840RecordWriter::checksumOffBy(uint32_t delta) {
    checksumDelta_ = delta;
    return *this;
}
L840RecordWriter& L840RecordWriter::claimedLength(uint32_t v) {
    claimedLength_ = v;
    return *this;
}

void L840RecordWriter::appendTo(std::vector<uint8_t>& file) const {
    std::vector<uint8_t> h(std::max(headerSize_, kMaxHeaderSize), 0);
    const auto length = static_cast<uint32_t>(data_.size());
    writeLe32(&h[kOffHeaderSize], headerSize_);
    writeLe32(&h[kOffDataLength], claimedLength_.value_or(length));
    writeLe32(&h[kOffFlashAddress], static_cast<uint32_t>(address_));
    writeLe32(&h[kOffFlashAddress + 4], static_cast<uint32_t>(address_ >> 32));
    writeLe32(&h[kOffWriteSize], writeSize_.value_or(length));
    writeLe32(&h[kOffChecksum], byteSum(data_) + checksumDelta_);
    writeTextField(h, kOffVersion, kVersionSize, version_);
    writeTextField(h, kOffName, kNameSize, name_);
    for (size_t slot = 0; slot < pids_.size() && slot < kPidSlots; ++slot) {
        writeLe16(&h[kOffPids + 2 * slot], pids_[slot]);
    }
    file.insert(file.end(), h.begin(), h.begin() + static_cast<std::ptrdiff_t>(headerSize_));
    file.insert(file.end(), data_.begin(), data_.end());
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
