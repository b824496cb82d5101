// The vendor command protocol: wire format of request and response packets, one builder per
// request kind, one parser per response kind, execution of one exchange (the only caller of the
// host's send-and-receive primitive), response validation, status checking, and the CRC-32 that
// flash writes carry.
#pragma once

#include <cstdint>
#include <string>

#include "vxsensor/vx_host.h"

namespace libvxsensor::protocol {

enum HpOpCodes : uint16_t {
    OPCODE_GET_PROPERTY = 1,
    OPCODE_SET_PROPERTY = 2,
    OPCODE_GET_STRUCTURE_DATA = 3,
    OPCODE_SET_STRUCTURE_DATA = 4,
    OPCODE_HEARTBEAT_AND_STATE = 5,
    OPCODE_ERASE_FLASH = 13,
    OPCODE_WRITE_FLASH = 14,
    OPCODE_FINISH_WRITE_FLASH = 15,
    OPCODE_GET_READ_DATA_SIZE = 17,
    OPCODE_READ_DATA = 18,
    OPCODE_FINISH_READ_DATA = 19,
    OPCODE_START_WRITE_DATA = 20,
    OPCODE_WRITE_DATA = 21,
    OPCODE_FINISH_WRITE_DATA = 22,
    OPCODE_READ_FLASH = 25,
    OPCODE_GET_CMD_VERSION = 26,
    OPCODE_GET_STRUCTURE_DATA_V1_1 = 27,
    OPCODE_SET_STRUCTURE_DATA_V1_1 = 28,
    OPCODE_START_GET_STRUCTURE_DATA_LIST = 29,
    OPCODE_GET_STRUCTURE_DATA_LIST = 30,
    OPCODE_FINISH_GET_STRUCTURE_DATA_LIST = 31,
};

// Request header (ReqHeader), 8 bytes, then the payload:
//   0 magic "GM" (0x4D47 little-endian) | 2 halfWordSize: payload length in 16-bit words
//   4 opcode | 6 requestId | 8 payload
// Response header (RespHeader), 10 bytes, then the data:
//   0 magic "RB" (0x4252) | 2 halfWordSize: everything after byte 8 (status included) in words
//   4 opcode echo | 6 requestId echo | 8 status | 10 data
inline constexpr uint16_t kRequestMagic = 0x4D47;
inline constexpr uint16_t kResponseMagic = 0x4252;
inline constexpr uint32_t kReqHeaderSize = 8;
inline constexpr uint32_t kRespHeaderSize = 10;
inline constexpr uint32_t kOffMagic = 0;
inline constexpr uint32_t kOffHalfWordSize = 2;
inline constexpr uint32_t kOffOpcode = 4;
inline constexpr uint32_t kOffRequestId = 6;
inline constexpr uint32_t kOffPayload = 8;
inline constexpr uint32_t kOffStatus = 8;
inline constexpr uint32_t kOffData = 10;

// Process-wide request id: 1, 2, ..., 65535, 0, 1, ... Not locked: concurrent callers may share
// an id, which the device then answers as stale.
uint16_t generateRequestId();

// ---- Request builders: fill the caller's buffer (sized by the caller), return it. ----------

uint8_t* initGetPropertyReq(uint8_t* buf, uint32_t propertyId);
uint8_t* initSetPropertyReq(uint8_t* buf, uint32_t propertyId, uint32_t value);
uint8_t* initGetStructureDataReq(uint8_t* buf, uint32_t propertyId);
uint8_t* initSetStructureDataReq(uint8_t* buf, uint32_t propertyId, const uint8_t* data,
                                 uint16_t size);
uint8_t* initHeartbeatAndStateReq(uint8_t* buf);
uint8_t* initEraseFlashReq(uint8_t* buf, uint32_t offset, uint32_t size);
uint8_t* initWriteFlashReq(uint8_t* buf, uint32_t offset, const uint8_t* data, uint32_t size);
uint8_t* initFinishWriteFlashReq(uint8_t* buf);
uint8_t* initFinishWriteFlashWithCrc32Req(uint8_t* buf, uint32_t crc32);
// kind 0: length query (opcode 17); kind 1: opcode 19, the finish-read code. Any other kind
// leaves the opcode bytes as the buffer held them.
uint8_t* initGetRawDataLength(uint8_t* buf, uint32_t propertyId, uint32_t kind);
uint8_t* initReadRawData(uint8_t* buf, uint32_t propertyId, uint32_t offset, uint32_t size);
uint8_t* initFinishReadRawData(uint8_t* buf, uint32_t propertyId);
uint8_t* initStartWriteRawDataReq(uint8_t* buf, uint32_t propertyId, uint32_t totalSize);
uint8_t* initWriteRawDataReq(uint8_t* buf, uint32_t propertyId, const uint8_t* data,
                             uint32_t offset, uint16_t size);
// Same packet as initWriteRawDataReq, but its declared length is not rounded up: an odd size
// leaves the last byte outside halfWordSize although it is sent. The device expects exactly this.
uint8_t* initMiroMaxFirmwareReq(uint8_t* buf, uint32_t propertyId, const uint8_t* data,
                                uint32_t offset, uint16_t size);
uint8_t* initFinishWriteRawDataReq(uint8_t* buf, uint32_t propertyId);
// The length field counts 16-bit words in 16 bits, unlike the erase request's byte count.
uint8_t* initReadFlashReq(uint8_t* buf, uint32_t offset, uint32_t size);
uint8_t* initGetCmdVersionReq(uint8_t* buf, uint32_t propertyId);
uint8_t* initGetStructureDataReqV1_1(uint8_t* buf, uint32_t propertyId);
uint8_t* initSetStructureDataReqV1_1(uint8_t* buf, uint32_t propertyId, uint16_t cmdVersion,
                                     const uint8_t* data, uint16_t size);
uint8_t* initStartGetStructureDataList(uint8_t* buf, uint32_t propertyId);
uint8_t* initGetStructureDataList(uint8_t* buf, uint32_t propertyId, uint32_t offset,
                                  uint32_t size);
uint8_t* initFinishGetStructureDataList(uint8_t* buf, uint32_t propertyId);

// Receive capacity offered to the host for a request of this opcode.
uint16_t getExpectedRespSize(uint16_t opcode);

// ---- Response views: typed, read-only access to a received response. ----------------------

class RespView {
public:
    RespView(const uint8_t* bytes, uint32_t length) : bytes_(bytes), length_(length) {}
    const uint8_t* bytes() const { return bytes_; }
    uint32_t length() const { return length_; }
    uint16_t magic() const;
    uint16_t halfWordSize() const;
    uint16_t opcode() const;
    uint16_t requestId() const;
    uint16_t status() const;
    const uint8_t* data() const { return bytes_ + kOffData; }

private:
    const uint8_t* bytes_;
    uint32_t length_;
};

struct GetPropertyResp : RespView {
    using RespView::RespView;
    int32_t currentValue() const;  // offset 10
};

struct GetStructureDataResp : RespView {
    using RespView::RespView;
};

struct GetStructureDataRespV1_1 : RespView {
    using RespView::RespView;
    uint16_t cmdVersion() const;  // offset 10
    const uint8_t* structureData() const { return bytes() + 12; }
};

struct GetRawDataLengthResp : RespView {
    using RespView::RespView;
    uint32_t totalLength() const;  // offset 10
};

// halfWordSize × 2 − 2, truncated to 16 bits.
uint16_t getStructureDataSize(const GetStructureDataResp& resp);
// halfWordSize × 2 − 4 as a signed 16-bit value: −2 for halfWordSize 1, callers must check.
int16_t getStructureDataSizeV1_1(const GetStructureDataRespV1_1& resp);

// Parsers check only the minimum length of their response kind (the header was validated by
// execute) and throw std::runtime_error("Device response with wrong data size") below it.
GetPropertyResp parseGetPropertyResp(const uint8_t* resp, uint16_t length);
RespView parseSetPropertyResp(const uint8_t* resp, uint16_t length);
GetStructureDataResp parseGetStructureDataResp(const uint8_t* resp, uint16_t length);
RespView parseSetStructureDataResp(const uint8_t* resp, uint16_t length);
RespView parseHeartbeatAndStateResp(const uint8_t* resp, uint16_t length);
GetRawDataLengthResp parseGetRawDataLengthResp(const uint8_t* resp, uint16_t length);
RespView parseReadRawDataResp(const uint8_t* resp, uint16_t length);
RespView parseReadFlashResp(const uint8_t* resp, uint32_t length);
RespView parseGetCmdVerDataResp(const uint8_t* resp, uint16_t length);
GetStructureDataRespV1_1 parseGetStructureDataRespV1_1(const uint8_t* resp, uint16_t length);
RespView parseSetStructureDataRespV1_1(const uint8_t* resp, uint16_t length);
RespView parseStartStructureDataListResp(const uint8_t* resp, uint16_t length);

// ---- Execution and status -----------------------------------------------------------------

enum HpStatusCode : int32_t {
    HP_STATUS_OK = 0,
    HP_STATUS_TRANSFER_FAILED = 2,
    HP_STATUS_DEVICE_RESPONSE_BAD_MAGIC = 5,
    HP_STATUS_DEVICE_RESPONSE_REQUEST_ID_MISMATCH = 6,
    HP_STATUS_DEVICE_RESPONSE_OPCODE_MISMATCH = 7,
    HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE = 8,
    HP_STATUS_DEVICE_RESPONSE_ERROR = 9,
    HP_STATUS_DEVICE_RESPONSE_WARNING = 10,
    HP_STATUS_DEVICE_RESPONSE_ERROR_UNKNOWN = 11,
    HP_STATUS_DATA_SIZE_INVALID = 12,
};

struct HpStatus {
    HpStatusCode statusCode = HP_STATUS_OK;
    uint32_t respErrorCode = 0;  // the device's status word, or 0xFFFF for local failures
    std::string msg;
};

// Sends one built request and validates the answer. `response` must hold at least
// getExpectedRespSize(opcode) bytes. A stale answer or device status 3 is retried once with the
// same request id; a transport failure is not retried.
HpStatus execute(vx_device_t* device, uint8_t* request, uint16_t requestLength, uint8_t* response,
                 uint16_t* responseLength);

HpStatus validateResp(const uint8_t* response, uint16_t size, uint16_t expectedOpcode,
                      uint16_t expectedRequestId);

// True only for HP_STATUS_OK. Failures throw std::runtime_error when throwException is set, else
// are logged at error severity; a device warning is only ever logged.
bool checkStatus(const HpStatus& status, bool throwException);

// ---- CRC-32/MPEG-2 and the bit helpers of its circuit form ----------------------------------

uint32_t calcCrc32(const uint8_t* data, uint32_t size);
uint8_t getByteOffset(uint8_t value);
uint8_t getByteBit(uint8_t value, uint8_t bit);
uint8_t getDWORDOffset(uint32_t value);
uint8_t getDWORDBit(uint32_t value, uint32_t bit);

}  // namespace libvxsensor::protocol
