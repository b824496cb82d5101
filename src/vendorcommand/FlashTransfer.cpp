// Flash read and write in packet-sized pieces, with erase, finish and the three verify modes.
#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "common/LogExt.h"
#include "vendorcommand/CommandBuffers.h"
#include "vendorcommand/VendorCommand.h"

namespace libvxsensor::VendorCommand {

namespace {

constexpr uint32_t kFlashWriteOverhead = 12;  // header and flash offset
constexpr uint32_t kFlashReadOverhead = 10;   // the answer's header and status word
// A write request, or a read answer, must fit a command buffer.
constexpr uint32_t kMaxFlashWriteChunk = kCommandBufferSize - kFlashWriteOverhead;
constexpr uint32_t kMaxFlashReadChunk = kCommandBufferSize - kFlashReadOverhead;

// A limit of 0 would never advance; one beyond `maxChunk` would overrun a buffer.
uint32_t checkedLimit(uint32_t limit, uint32_t maxChunk) {
    if (limit == 0 || limit > maxChunk) {
        throw std::invalid_argument("flash packet size out of range");
    }
    return limit;
}

uint8_t percentOf(uint64_t done, uint32_t size) {
    return static_cast<uint8_t>(done * 100u / size);
}

// The answer to a read must carry every byte asked for; a short one counts as a failed request
// rather than handing on stale buffer contents.
bool readAnswered(const CommandBuffers& buffers, const protocol::HpStatus& status, uint32_t n) {
    if (!protocol::checkStatus(status, false)) {
        return false;
    }
    if (buffers.receivedData() < n) {
        return protocol::checkStatus({protocol::HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE, 0xFFFF,
                                      "Device response with wrong data size"},
                                     false);
    }
    return true;
}

// The read loop that readFlash and the read-back verification share. `onChunk(state, chunk)`
// sees each chunk, then the end, or one failure after which nothing more is read. `wantsData`
// false skips handing on the chunks (and their end) but not the failure. A template rather
// than a std::function, so the verification's per-chunk call is a direct one.
template <typename OnChunk>
void readChunks(vx_device_t* device, uint32_t offset, uint32_t size, uint32_t limit, bool wantsData,
                OnChunk&& onChunk) {
    if (size == 0) {
        return;
    }
    CommandBuffers buffers;
    uint32_t done = 0;
    while (done < size) {
        const uint32_t n = std::min(size - done, limit);
        protocol::initReadFlashReq(buffers.request.data(), offset + done, n);
        const protocol::HpStatus status = buffers.send(device, 14);
        if (!readAnswered(buffers, status, n)) {
            VXDataChunk failed{nullptr, 0, done, size};
            onChunk(VX_DATA_TRAN_STATE_FAILED, &failed);
            return;
        }
        if (wantsData) {
            const auto resp = protocol::parseReadFlashResp(
                buffers.response.data(), static_cast<uint32_t>(buffers.response.size()));
            VXDataChunk chunk{const_cast<uint8_t*>(resp.data()), n, done, size};
            onChunk(VX_DATA_TRAN_STATE_TRANSFERRING, &chunk);
            done += n;
            if (done == size) {
                VXDataChunk end{nullptr, 0, size, size};
                onChunk(VX_DATA_TRAN_STATE_DONE, &end);
            }
        } else {
            done += n;
        }
    }
}

}  // namespace

TransferCost flashWriteCost(uint32_t size, uint32_t packetSize, bool readBack) {
    constexpr uint32_t kAnswer = protocol::kRespHeaderSize;
    const uint64_t chunks = packetSize == 0 ? 0 : (uint64_t{size} + packetSize - 1) / packetSize;
    TransferCost cost;
    // Erase and finish, then each chunk and its answer.
    cost.exchanges = 2 + chunks;
    cost.bytes = 16 + 12 + 2 * kAnswer + chunks * (kFlashWriteOverhead + kAnswer) + size;
    if (readBack) {
        cost.exchanges += chunks;
        cost.bytes += chunks * (14 + kFlashReadOverhead) + size;
    }
    return cost;
}

void readFlash(vx_device_t* device, uint32_t offset, uint32_t size, const GetDataCallback& callback,
               bool /*flag*/, uint32_t packetSize) {
    const uint32_t resolved = resolvePacketSize(device, packetSize);
    if (size == 0) {
        return;
    }
    const uint32_t limit = checkedLimit(resolved, kMaxFlashReadChunk);
    // A failure goes to the callback even when it is empty: a caller without one learns of it
    // as std::bad_function_call, the only channel this function has.
    readChunks(device, offset, size, limit, static_cast<bool>(callback),
               [&callback](VXDataTranState state, VXDataChunk* chunk) { callback(state, chunk); });
}

namespace {

// Reads the range back and compares it with the image; reports progress as it goes.
bool verifyByReadBack(vx_device_t* device, uint32_t offset, const uint8_t* image, uint32_t size,
                      const SetDataCallback& callback, uint32_t packetSize) {
    bool matched = true;
    uint32_t verified = 0;
    const auto checker = [&](VXDataTranState state, VXDataChunk* chunk) {
        if (state != VX_DATA_TRAN_STATE_TRANSFERRING) {
            return;
        }
        if (std::memcmp(chunk->data, image + chunk->offset, chunk->size) == 0) {
            verified += chunk->size;
            if (callback) callback(VX_DATA_TRAN_STATE_VERIFYING, percentOf(verified, size));
        } else {
            matched = false;  // keep reading: the caller sees how far the damage reaches
            if (callback) {
                callback(VX_DATA_TRAN_STATE_VERIFY_FAILED,
                         percentOf(uint64_t{chunk->offset} + chunk->size, size));
            }
        }
    };
    readChunks(device, offset, size,
               checkedLimit(resolvePacketSize(device, packetSize), kMaxFlashReadChunk), true,
               checker);
    // One byte of tolerance in the length, as the device's own tools have always allowed.
    const uint32_t shortfall = size > verified ? size - verified : verified - size;
    return matched && shortfall <= 1;
}

}  // namespace

void writeFlash(vx_device_t* device, uint32_t offset, const void* data, uint32_t size,
                const SetDataCallback& callback, bool /*flag*/, WriteFlashVerifyMode verifyMode,
                uint32_t packetSize) {
    const uint32_t limit = checkedLimit(resolvePacketSize(device, packetSize), kMaxFlashWriteChunk);
    const auto* image = static_cast<const uint8_t*>(data);
    CommandBuffers buffers;
    // Without a callback a failed step is ignored and the write goes on; with one it is
    // reported once and the device is left as it is.
    const auto failed = [&](const protocol::HpStatus& status) {
        if (protocol::checkStatus(status, false) || !callback) return false;
        callback(VX_DATA_TRAN_STATE_FAILED, 0);
        return true;
    };

    protocol::initEraseFlashReq(buffers.request.data(), offset, size);
    if (failed(buffers.send(device, 16))) return;

    for (uint32_t written = 0; written < size;) {
        const uint32_t n = std::min(size - written, limit);
        protocol::initWriteFlashReq(buffers.request.data(), offset + written, image + written, n);
        if (failed(buffers.send(device, n + kFlashWriteOverhead))) return;
        written += n;
        if (callback) callback(VX_DATA_TRAN_STATE_TRANSFERRING, percentOf(written, size));
    }

    if (verifyMode == VERIFY_CRC32) {
        protocol::initFinishWriteFlashWithCrc32Req(buffers.request.data(),
                                                   protocol::calcCrc32(image, size));
        if (failed(buffers.send(device, 12))) return;
    } else {
        protocol::initFinishWriteFlashReq(buffers.request.data());
        if (failed(buffers.send(device, 8))) return;
    }

    if (verifyMode == VERIFY_READ_BACK) {
        const bool passed = verifyByReadBack(device, offset, image, size, callback, packetSize);
        if (callback) {
            callback(passed ? VX_DATA_TRAN_STATE_VERIFY_DONE : VX_DATA_TRAN_STATE_VERIFY_FAILED,
                     passed ? 100 : 0);
        }
        if (!passed) return;
    }
    if (callback) callback(VX_DATA_TRAN_STATE_DONE, 100);
}

}  // namespace libvxsensor::VendorCommand
