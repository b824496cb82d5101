// Raw-data transfers: a device-side object addressed by a property id, moved as start, chunks,
// finish (write) or length query, chunks, finish (read).
#include <algorithm>
#include <stdexcept>

#include "vendorcommand/CommandBuffers.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor::VendorCommand {

namespace {

constexpr uint32_t kRawWriteOverhead = 16;                     // header, property id, offset
constexpr uint32_t kMaxRawChunk = 0xFFFF - kRawWriteOverhead;  // the request length is 16 bits
constexpr uint32_t kMaxRawReadChunk = kCommandBufferSize - protocol::kRespHeaderSize;

using ChunkBuilder = uint8_t* (*)(uint8_t*, uint32_t, const uint8_t*, uint32_t, uint16_t);

uint32_t requestSizeFor(uint32_t chunk) {
    return std::max(kCommandBufferSize, std::min(chunk, kMaxRawChunk) + kRawWriteOverhead);
}

void sendChunk(CommandBuffers& buffers, vx_device_t* device, ChunkBuilder build,
               uint32_t propertyId, const uint8_t* data, uint32_t offset, uint32_t length) {
    if (length > kMaxRawChunk) {
        throw std::invalid_argument("raw-data chunk too large for one request");
    }
    if (buffers.request.size() < length + kRawWriteOverhead) {
        buffers.request.resize(length + kRawWriteOverhead);
    }
    build(buffers.request.data(), propertyId, data, offset, static_cast<uint16_t>(length));
    protocol::checkStatus(buffers.send(device, length + kRawWriteOverhead), true);
}

uint8_t percentOf(uint32_t done, uint32_t size) {
    return static_cast<uint8_t>(static_cast<unsigned>((done * 100.0) / size));
}

}  // namespace

void startToWriteRawData(vx_device_t* device, uint32_t propertyId, uint32_t totalSize) {
    CommandBuffers buffers;
    protocol::initStartWriteRawDataReq(buffers.request.data(), propertyId, totalSize);
    protocol::checkStatus(buffers.send(device, 16), true);
}

void writeRawData(vx_device_t* device, uint32_t propertyId, const uint8_t* data, uint32_t offset,
                  uint32_t length) {
    RawDataChunkWriter(device, propertyId, length).write(data, offset, length);
}

void writeMiroMaxFirmware(vx_device_t* device, uint32_t propertyId, const uint8_t* data,
                          uint32_t offset, uint32_t length) {
    RawDataChunkWriter(device, propertyId, length).writeMiroMaxFirmware(data, offset, length);
}

RawDataChunkWriter::RawDataChunkWriter(vx_device_t* device, uint32_t propertyId, uint32_t maxChunk)
    : device_(device), propertyId_(propertyId), buffers_(requestSizeFor(maxChunk)) {}

void RawDataChunkWriter::write(const uint8_t* data, uint32_t offset, uint32_t length) {
    sendChunk(buffers_, device_, protocol::initWriteRawDataReq, propertyId_, data, offset, length);
}

void RawDataChunkWriter::writeMiroMaxFirmware(const uint8_t* data, uint32_t offset,
                                              uint32_t length) {
    sendChunk(buffers_, device_, protocol::initMiroMaxFirmwareReq, propertyId_, data, offset,
              length);
}

void FinishWritingRawData(vx_device_t* device, uint32_t propertyId) {
    CommandBuffers buffers;
    protocol::initFinishWriteRawDataReq(buffers.request.data(), propertyId);
    protocol::checkStatus(buffers.send(device, 12), true);
}

TransferCost rawDataWriteCost(uint32_t size, uint32_t packetSize) {
    constexpr uint32_t kAnswer = protocol::kRespHeaderSize;
    const uint64_t chunks = packetSize == 0 ? 0 : (uint64_t{size} + packetSize - 1) / packetSize;
    // Start and finish, then each chunk (16 bytes of header and ids) and its answer.
    return {2 + chunks, 16 + 12 + 2 * kAnswer + chunks * (16 + kAnswer) + size};
}

void setRawData(vx_device_t* device, uint32_t propertyId, const void* data, uint32_t size,
                const SetDataCallback& callback, uint32_t packetSize) {
    if (packetSize == 0 || packetSize > kMaxRawChunk) {
        throw std::invalid_argument("raw-data packet size out of range");
    }
    const auto* bytes = static_cast<const uint8_t*>(data);
    // Sized for the largest chunk, so any packet size fits its request.
    CommandBuffers buffers(std::max(kCommandBufferSize, packetSize + kRawWriteOverhead));

    protocol::initStartWriteRawDataReq(buffers.request.data(), propertyId, size);
    if (!protocol::checkStatus(buffers.send(device, 16), false) && callback) {
        callback(VX_DATA_TRAN_STATE_FAILED, 0);
        return;
    }
    for (uint32_t offset = 0; offset < size;) {
        const uint32_t n = std::min(size - offset, packetSize);
        protocol::initWriteRawDataReq(buffers.request.data(), propertyId, bytes + offset, offset,
                                      static_cast<uint16_t>(n));
        const bool ok = protocol::checkStatus(buffers.send(device, n + kRawWriteOverhead), false);
        if (callback) {
            if (!ok) {
                callback(VX_DATA_TRAN_STATE_FAILED, 0);
                return;
            }
            callback(VX_DATA_TRAN_STATE_TRANSFERRING, percentOf(offset + n, size));
        }
        offset += n;
    }
    protocol::initFinishWriteRawDataReq(buffers.request.data(), propertyId);
    const bool finished = protocol::checkStatus(buffers.send(device, 12), false);
    if (callback) {
        callback(finished ? VX_DATA_TRAN_STATE_DONE : VX_DATA_TRAN_STATE_FAILED,
                 finished ? 100 : 0);
    }
}

void getRawData(vx_device_t* device, uint32_t propertyId, const GetDataCallback& callback,
                uint32_t chunkSize) {
    if (chunkSize == 0 || chunkSize > kMaxRawReadChunk) {
        throw std::invalid_argument("raw-data chunk size out of range");
    }
    CommandBuffers buffers;
    protocol::initGetRawDataLength(buffers.request.data(), propertyId, 0);
    protocol::checkStatus(buffers.send(device, 12), true);
    const uint32_t total =
        protocol::parseGetRawDataLengthResp(buffers.response.data(), buffers.responseLength)
            .totalLength();

    for (uint32_t offset = 0; offset < total;) {
        const uint32_t n = std::min(total - offset, chunkSize);
        protocol::initReadRawData(buffers.request.data(), propertyId, offset, n);
        protocol::checkStatus(buffers.send(device, 20), true);
        const auto resp =
            protocol::parseReadRawDataResp(buffers.response.data(), buffers.responseLength);
        if (buffers.receivedData() < n) {
            // Handing on bytes the device never sent would corrupt the caller's copy silently.
            throw std::runtime_error("Device response with wrong data size");
        }
        if (callback) {
            VXDataChunk chunk{const_cast<uint8_t*>(resp.data()), n, offset, total};
            callback(VX_DATA_TRAN_STATE_TRANSFERRING, &chunk);
        }
        if (total - offset <= chunkSize) {
            break;
        }
        offset += chunkSize;
    }

    protocol::initFinishReadRawData(buffers.request.data(), propertyId);
    protocol::checkStatus(buffers.send(device, 12), true);
    if (callback) {
        VXDataChunk end{nullptr, 0, total, total};
        callback(VX_DATA_TRAN_STATE_DONE, &end);
    }
}

}  // namespace libvxsensor::VendorCommand
