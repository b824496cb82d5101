// Vendor commands: operations made of one or many protocol exchanges. Single-shot commands
// throw on failure; callback-driven write transfers report failure states instead.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "vendorcommand/CommandBuffers.h"
#include "vxsensor/vx_host.h"

namespace libvxsensor::VendorCommand {

// The answer whenever the connection type cannot be learnt.
inline constexpr uint32_t DEFAULT_PACKET_SIZE = 768;

enum WriteFlashVerifyMode : int32_t {
    VERIFY_NONE = 0,
    VERIFY_CRC32 = 1,      // the finish request carries the CRC-32 of the whole image
    VERIFY_READ_BACK = 2,  // plain finish, then read back and compare
};

using SetDataCallback = std::function<void(VXDataTranState, uint8_t)>;
using GetDataCallback = std::function<void(VXDataTranState, VXDataChunk*)>;

// ---- Packet size ------------------------------------------------------------------------------

// 232 on GMSL2, 560 on Ethernet, 480 on anything else; DEFAULT_PACKET_SIZE (with one log line)
// when the host cannot tell. Never throws for a host failure.
uint32_t packetSizeForConnection(vx_device_t* device);
// The size the connection type's text selects (exact, case-sensitive comparison).
uint32_t packetSizeForConnectionType(const std::string& connectionType);

// Devices of the L845Se group cannot take flash packets above 512 bytes.
uint32_t resolvePacketSize(vx_device_t* device, uint32_t requested);

// ---- Properties and structure data ------------------------------------------------------------

bool clearOptionalDepthPresets(vx_device_t* device);
bool FinishUpgradingOptionalDepthPresets(vx_device_t* device);
void getPropertyValue(vx_device_t* device, uint32_t propertyId, VXPropertyValue& value);
// dataSize: capacity of `data` on entry, bytes written on exit. A payload shorter than a
// non-zero expectedSize is accepted; a longer one is refused.
void getStructureData(vx_device_t* device, uint32_t propertyId, uint8_t* data, uint32_t& dataSize,
                      uint32_t expectedSize);

// ---- Raw data ---------------------------------------------------------------------------------

void startToWriteRawData(vx_device_t* device, uint32_t propertyId, uint32_t totalSize);
void writeRawData(vx_device_t* device, uint32_t propertyId, const uint8_t* data, uint32_t offset,
                  uint32_t length);
void writeMiroMaxFirmware(vx_device_t* device, uint32_t propertyId, const uint8_t* data,
                          uint32_t offset, uint32_t length);
void FinishWritingRawData(vx_device_t* device, uint32_t propertyId);

// The chunks of one raw-data transfer, sent through one pair of command buffers sized once for
// the largest chunk: a stream of thousands of chunks then allocates and clears them once, not
// once per chunk. Each write throws as writeRawData does; a chunk larger than announced grows
// the buffer.
class RawDataChunkWriter {
public:
    RawDataChunkWriter(vx_device_t* device, uint32_t propertyId, uint32_t maxChunk);
    void write(const uint8_t* data, uint32_t offset, uint32_t length);
    // The MiroMax packet (initMiroMaxFirmwareReq): its declared length is not rounded up.
    void writeMiroMaxFirmware(const uint8_t* data, uint32_t offset, uint32_t length);

private:
    vx_device_t* device_;
    uint32_t propertyId_;
    CommandBuffers buffers_;
};
// Whole transfers. setRawData reports (0, percent) per chunk, then (2, 100), or (-3, 0) once on
// failure; without a callback a failure is ignored and the transfer goes on.
void setRawData(vx_device_t* device, uint32_t propertyId, const void* data, uint32_t size,
                const SetDataCallback& callback, uint32_t packetSize);
// Reports each chunk with state 0, then state 2; throws on a failed exchange.
void getRawData(vx_device_t* device, uint32_t propertyId, const GetDataCallback& callback,
                uint32_t chunkSize);

// ---- Costs ------------------------------------------------------------------------------------

// The exchanges a write transfer makes and the bytes they move both ways, as the loops below make
// them: for an estimate of a transfer's time before it is made (vxfw's dry run).
struct TransferCost {
    uint64_t exchanges = 0;
    uint64_t bytes = 0;
};
TransferCost flashWriteCost(uint32_t size, uint32_t packetSize, bool readBack);
TransferCost rawDataWriteCost(uint32_t size, uint32_t packetSize);

// ---- Flash ------------------------------------------------------------------------------------

// Reports (0, chunk) per chunk and (2, end) at the end, or (-3, ...) once and stops. A failure
// with an empty callback throws std::bad_function_call.
void readFlash(vx_device_t* device, uint32_t offset, uint32_t size, const GetDataCallback& callback,
               bool flag, uint32_t packetSize);
// Erase, write in chunks, finish (with a CRC in mode 1), read back in mode 2. Reports
// (0, percent) per chunk, (1, percent) per verified chunk, (4, 100), (2, 100); or (-3, 0) /
// (-4, ...) and stops. Without a callback device failures are ignored and the write goes on.
void writeFlash(vx_device_t* device, uint32_t offset, const void* data, uint32_t size,
                const SetDataCallback& callback, bool flag, WriteFlashVerifyMode verifyMode,
                uint32_t packetSize);

}  // namespace libvxsensor::VendorCommand
