// The virtual camera's request handling. Every length taken from a request is checked against
// the bytes actually received (the payload vector) before it is used: the header's halfWordSize
// is never trusted, since the host sends odd lengths as they are.
#include "vxsim/VirtualCamera.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>

namespace vxsim {
namespace {

using wire::Request;

constexpr size_t kHeader = wire::kResponseHeaderSize;

const std::array<uint32_t, 256>& crcTable() {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t crc = i << 24;
            for (int bit = 0; bit < 8; ++bit) {
                crc = (crc & 0x80000000u) != 0 ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
            }
            t[i] = crc;
        }
        return t;
    }();
    return table;
}

std::string hex(uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

bool isError(uint16_t status) {
    return status != 0 && (status < 0x8000 || status == 0xFFFF);
}

// Cuts an answer to what the host can receive, keeping the header consistent with the bytes
// sent: the data is cut to whole words so the size field needs no padding byte that would not
// fit either.
void fitToCapacity(Reply& reply, uint32_t capacity) {
    if (reply.bytes.size() <= capacity) return;
    if (capacity < kHeader) {
        reply.bytes.resize(capacity);
        return;
    }
    const size_t keep = (capacity - kHeader) & ~size_t{1};
    reply.bytes.resize(kHeader + keep);
    const auto words = static_cast<uint16_t>(1 + keep / 2);
    reply.bytes[2] = static_cast<uint8_t>(words & 0xFFu);
    reply.bytes[3] = static_cast<uint8_t>(words >> 8);
}

// [offset, offset + count) inside a memory of `size` bytes, without overflow.
bool rangeOk(uint64_t offset, uint64_t count, uint64_t size) {
    return offset <= size && count <= size - offset;
}

}  // namespace

uint32_t crc32Mpeg2(const uint8_t* data, size_t size, uint32_t crc) {
    const auto& table = crcTable();
    for (size_t i = 0; i < size; ++i) {
        crc = (crc << 8) ^ table[((crc >> 24) ^ data[i]) & 0xFFu];
    }
    return crc;
}

VirtualCamera::VirtualCamera(size_t flashSize) {
    if (flashSize < kMinFlashSize || flashSize > kMaxFlashSize) {
        throw std::invalid_argument("flash size " + std::to_string(flashSize) +
                                    " outside 8 MiB..256 MiB");
    }
    flash_.assign(flashSize, 0xFF);
}

Reply VirtualCamera::exchange(const std::vector<uint8_t>& bytes, uint32_t capacity) {
    const auto request = wire::parseRequest(bytes);
    if (!request) return Reply::transportFailure("no answer: not a vendor request");
    ++counters_.requests;
    Reply reply = serve(*request, capacity);
    fitToCapacity(reply, capacity);
    if (reply.bytes.size() >= kHeader && isError(wire::le16(&reply.bytes[8]))) {
        ++counters_.deviceErrors;
    }
    return reply;
}

bool VirtualCamera::structuredData(uint32_t propertyId, std::vector<uint8_t>& out) {
    const auto found = hostStructured_.find(propertyId);
    if (found == hostStructured_.end()) return false;
    out = found->second;
    return true;
}

Reply VirtualCamera::refuse(const Request& request, CameraStatus status, const std::string& text) {
    return wire::statusReply(request, static_cast<uint16_t>(status), text);
}

Reply VirtualCamera::serve(const Request& request, uint32_t capacity) {
    switch (request.opcode) {
        case wire::GetProperty:
            return getProperty(request);
        case wire::SetProperty:
            return setPropertyRequest(request);
        case wire::GetStructureData:
            return getStructure(request);
        case wire::HeartbeatAndState:
            return wire::okReply(request,
                                 std::vector<uint8_t>(heartbeat_.begin(), heartbeat_.end()));
        case wire::EraseFlash:
            return eraseFlash(request);
        case wire::WriteFlash:
            return writeFlash(request);
        case wire::FinishWriteFlash:
            return finishWriteFlash(request);
        case wire::ReadFlash:
            return readFlash(request, capacity);
        case wire::GetReadDataSize:
        case wire::ReadData:
        case wire::FinishReadData:
        case wire::StartWriteData:
        case wire::WriteData:
        case wire::FinishWriteData:
            return rawDataRequest(request, capacity);
        default:
            return refuse(request, CameraStatus::Unsupported,
                          "unsupported opcode " + std::to_string(request.opcode));
    }
}

// ---- Properties and structures ------------------------------------------------------------

std::optional<int32_t> VirtualCamera::property(uint32_t id) const {
    const auto found = properties_.find(id);
    if (found == properties_.end()) return std::nullopt;
    return found->second;
}

void VirtualCamera::setPropertyHook(uint32_t id, PropertyHook hook) {
    if (hook)
        propertyHooks_[id] = std::move(hook);
    else
        propertyHooks_.erase(id);
}

Reply VirtualCamera::getProperty(const Request& request) {
    if (request.payload.size() < 4) return refuse(request, CameraStatus::BadRequest, "short");
    const uint32_t id = request.u32(0);
    const auto value = property(id);
    if (!value) {
        return refuse(request, CameraStatus::UnknownId, "unknown property " + std::to_string(id));
    }
    std::vector<uint8_t> data;
    wire::putLe32(data, static_cast<uint32_t>(*value));
    data.resize(20, 0);  // min, max, step and default: not modelled
    return wire::okReply(request, data);
}

Reply VirtualCamera::setPropertyRequest(const Request& request) {
    if (request.payload.size() < 8) return refuse(request, CameraStatus::BadRequest, "short");
    const uint32_t id = request.u32(0);
    const auto value = static_cast<int32_t>(request.u32(4));
    uint16_t status = 0;
    const auto hook = propertyHooks_.find(id);
    if (hook != propertyHooks_.end()) {
        const PropertyHook call = hook->second;  // may replace itself
        status = call(id, value);
    }
    if (!isError(status)) properties_[id] = value;
    return wire::statusReply(request, status);
}

void VirtualCamera::setStructure(uint32_t id, std::vector<uint8_t> bytes) {
    structures_[id] = Structure{{std::move(bytes)}, 0};
}

void VirtualCamera::setStructureSequence(uint32_t id, std::vector<std::vector<uint8_t>> reads) {
    if (reads.empty()) throw std::invalid_argument("structure sequence without entries");
    structures_[id] = Structure{std::move(reads), 0};
}

Reply VirtualCamera::getStructure(const Request& request) {
    if (request.payload.size() < 4) return refuse(request, CameraStatus::BadRequest, "short");
    const uint32_t id = request.u32(0);
    const auto found = structures_.find(id);
    if (found == structures_.end()) {
        return refuse(request, CameraStatus::UnknownId, "unknown structure " + std::to_string(id));
    }
    Structure& structure = found->second;
    const std::vector<uint8_t>& bytes = structure.reads[structure.next];
    if (structure.next + 1 < structure.reads.size()) ++structure.next;
    return wire::okReply(request, bytes);
}

void VirtualCamera::setHostStructuredData(uint32_t id, std::vector<uint8_t> bytes) {
    hostStructured_[id] = std::move(bytes);
}

// ---- Flash ----------------------------------------------------------------------------------

bool VirtualCamera::flashRangeOk(uint32_t offset, uint64_t count) const {
    return rangeOk(offset, count, flash_.size());
}

void VirtualCamera::writeFlashDirect(uint32_t offset, const std::vector<uint8_t>& bytes) {
    if (!flashRangeOk(offset, bytes.size())) {
        throw std::out_of_range("flash write at " + hex(offset) + " beyond the flash");
    }
    std::copy(bytes.begin(), bytes.end(), flash_.begin() + static_cast<std::ptrdiff_t>(offset));
}

Reply VirtualCamera::eraseFlash(const Request& request) {
    if (request.payload.size() < 8) return refuse(request, CameraStatus::BadRequest, "short");
    const uint32_t offset = request.u32(0);
    const uint32_t count = request.u32(4);
    if (!flashRangeOk(offset, count)) {
        return refuse(request, CameraStatus::OutOfRange, "erase outside the flash");
    }
    const auto begin = flash_.begin() + static_cast<std::ptrdiff_t>(offset);
    std::fill(begin, begin + static_cast<std::ptrdiff_t>(count), uint8_t{0xFF});
    windowLow_ = windowHigh_ = 0;
    ++counters_.erases;
    counters_.bytesErased += count;
    return wire::okReply(request);
}

Reply VirtualCamera::writeFlash(const Request& request) {
    if (request.payload.size() < 4) return refuse(request, CameraStatus::BadRequest, "short");
    const uint32_t offset = request.u32(0);
    const size_t count = request.payload.size() - 4;
    if (!flashRangeOk(offset, count)) {
        return refuse(request, CameraStatus::OutOfRange, "write outside the flash");
    }
    // NOR flash: programming can only clear bits; setting them back takes an erase.
    uint8_t* target = flash_.data() + offset;
    const uint8_t* source = request.payload.data() + 4;
    for (size_t i = 0; i < count; ++i) target[i] &= source[i];
    if (count > 0) {
        const size_t end = offset + count;
        if (windowLow_ == windowHigh_) {
            windowLow_ = offset;
            windowHigh_ = end;
        } else {
            windowLow_ = std::min<size_t>(windowLow_, offset);
            windowHigh_ = std::max(windowHigh_, end);
        }
    }
    ++counters_.flashWrites;
    counters_.flashBytesWritten += count;
    return wire::okReply(request);
}

Reply VirtualCamera::finishWriteFlash(const Request& request) {
    const size_t size = request.payload.size();
    if (size == 0) return wire::okReply(request);
    if (size < 4) return refuse(request, CameraStatus::BadRequest, "short CRC");
    ++counters_.crcChecks;
    const uint32_t expected = request.u32(0);
    const uint32_t actual = crc32Mpeg2(flash_.data() + windowLow_, windowHigh_ - windowLow_);
    if (expected == actual) return wire::okReply(request);
    ++counters_.crcMismatches;
    return refuse(request, CameraStatus::CrcMismatch,
                  "CRC mismatch: host " + hex(expected) + ", flash " + hex(actual));
}

Reply VirtualCamera::readFlash(const Request& request, uint32_t capacity) {
    if (request.payload.size() < 6) return refuse(request, CameraStatus::BadRequest, "short");
    const uint32_t offset = request.u32(0);
    const size_t count = size_t{request.u16(4)} * 2;
    if (!flashRangeOk(offset, count)) {
        return refuse(request, CameraStatus::OutOfRange, "read outside the flash");
    }
    if (kHeader + count > capacity) {
        return refuse(request, CameraStatus::TooLarge, "read larger than the receive buffer");
    }
    const auto begin = flash_.begin() + static_cast<std::ptrdiff_t>(offset);
    counters_.flashBytesRead += count;
    return wire::okReply(request,
                         std::vector<uint8_t>(begin, begin + static_cast<std::ptrdiff_t>(count)));
}

// ---- Raw-data objects -----------------------------------------------------------------------

void VirtualCamera::addRawDataObject(uint32_t id, uint32_t capacity, std::vector<uint8_t> content) {
    if (content.size() > capacity) {
        throw std::invalid_argument("raw data " + std::to_string(id) + " exceeds its capacity");
    }
    RawDataObject& object = rawData_[id];
    object.capacity = capacity;
    object.content = std::move(content);
    object.pending.reset();
}

const std::vector<uint8_t>& VirtualCamera::rawData(uint32_t id) const {
    return rawData_.at(id).content;
}

void VirtualCamera::setRawData(uint32_t id, std::vector<uint8_t> content) {
    RawDataObject& object = rawData_.at(id);
    if (content.size() > object.capacity) {
        throw std::out_of_range("raw data " + std::to_string(id) + " exceeds its capacity");
    }
    object.content = std::move(content);
}

void VirtualCamera::setRawDataHook(uint32_t id, RawDataHook hook) {
    rawData_.at(id).hook = std::move(hook);
}

Reply VirtualCamera::rawDataRequest(const Request& request, uint32_t capacity) {
    static constexpr size_t kMinPayload[] = {
        /*GET_READ_DATA_SIZE*/ 4, /*READ_DATA*/ 12, /*FINISH_READ_DATA*/ 4,
        /*START_WRITE_DATA*/ 8,   /*WRITE_DATA*/ 8, /*FINISH_WRITE_DATA*/ 4};
    const size_t size = request.payload.size();
    if (size < kMinPayload[static_cast<size_t>(request.opcode - wire::GetReadDataSize)]) {
        return refuse(request, CameraStatus::BadRequest, "short");
    }
    const uint32_t id = request.u32(0);
    const auto found = rawData_.find(id);
    if (found == rawData_.end()) {
        return refuse(request, CameraStatus::UnknownId, "unknown raw data " + std::to_string(id));
    }
    RawDataObject& object = found->second;

    switch (request.opcode) {
        case wire::GetReadDataSize: {
            std::vector<uint8_t> data;
            wire::putLe32(data, static_cast<uint32_t>(object.content.size()));
            return wire::okReply(request, data);
        }
        case wire::ReadData: {
            const size_t offset = std::min<size_t>(request.u32(4), object.content.size());
            size_t count = std::min<size_t>(request.u32(8), object.content.size() - offset);
            // An odd count travels with a padding byte; both must fit.
            if (kHeader + count + (count & 1u) > capacity) {
                count = capacity > kHeader ? (capacity - kHeader) & ~size_t{1} : 0;
            }
            const auto begin = object.content.begin() + static_cast<std::ptrdiff_t>(offset);
            return wire::okReply(
                request, std::vector<uint8_t>(begin, begin + static_cast<std::ptrdiff_t>(count)));
        }
        case wire::FinishReadData:
            return wire::okReply(request);
        case wire::StartWriteData: {
            const uint32_t total = request.u32(4);
            if (total > object.capacity) {
                return refuse(request, CameraStatus::TooLarge,
                              "raw data larger than " + std::to_string(object.capacity));
            }
            object.pending.emplace(total, uint8_t{0});
            return wire::okReply(request);
        }
        case wire::WriteData: {
            if (!object.pending) return refuse(request, CameraStatus::OutOfSequence, "not started");
            const uint32_t offset = request.u32(4);
            const size_t count = size - 8;
            if (!rangeOk(offset, count, object.pending->size())) {
                return refuse(request, CameraStatus::OutOfRange, "write outside the raw data");
            }
            std::copy(request.payload.begin() + 8, request.payload.end(),
                      object.pending->begin() + static_cast<std::ptrdiff_t>(offset));
            return wire::okReply(request);
        }
        default: {  // FINISH_WRITE_DATA
            if (!object.pending) return refuse(request, CameraStatus::OutOfSequence, "not started");
            object.content = std::move(*object.pending);
            object.pending.reset();
            ++counters_.rawDataWritesFinished;
            // A copy: the hook may replace or remove the object it is called for.
            const RawDataHook hook = object.hook;
            const uint16_t status = hook ? hook(id, object.content) : 0;
            return wire::statusReply(request, status);
        }
    }
}

}  // namespace vxsim
