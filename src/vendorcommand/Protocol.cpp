// Wire format, builders, parsers, execution and status checking of vendor commands.
#include "vendorcommand/Protocol.h"

#include <fmt/format.h>

#include <cstring>
#include <stdexcept>

#include "common/ByteOrder.h"
#include "common/LogExt.h"

namespace libvxsensor::protocol {

namespace {

uint16_t g_requestId = 0;

// halfWordSize of a payload of `bytes` bytes, rounded up to whole words. The field is 16 bits
// wide; larger payloads cannot be described and callers never build them.
uint16_t wordsFor(uint32_t bytes) {
    return static_cast<uint16_t>((bytes + 1u) / 2u);
}

uint8_t* writeHeader(uint8_t* buf, uint16_t halfWordSize, uint16_t opcode) {
    writeLe16(buf + kOffMagic, kRequestMagic);
    writeLe16(buf + kOffHalfWordSize, halfWordSize);
    writeLe16(buf + kOffOpcode, opcode);
    writeLe16(buf + kOffRequestId, generateRequestId());
    return buf;
}

// The many requests whose whole payload is one property id.
uint8_t* propertyOnly(uint8_t* buf, uint16_t opcode, uint32_t propertyId) {
    writeHeader(buf, 2, opcode);
    writeLe32(buf + kOffPayload, propertyId);
    return buf;
}

uint8_t* rawDataWrite(uint8_t* buf, uint16_t halfWordSize, uint32_t propertyId, const uint8_t* data,
                      uint32_t offset, uint16_t size) {
    writeHeader(buf, halfWordSize, OPCODE_WRITE_DATA);
    writeLe32(buf + kOffPayload, propertyId);
    writeLe32(buf + kOffPayload + 4, offset);
    if (size != 0) {
        std::memcpy(buf + kOffPayload + 8, data, size);
    }
    return buf;
}

[[noreturn]] void throwWrongDataSize() {
    throw std::runtime_error("Device response with wrong data size");
}

void requireLength(uint32_t length, uint32_t minimum) {
    if (length < minimum) {
        throwWrongDataSize();
    }
}

HpStatus failure(HpStatusCode code, std::string msg) {
    return HpStatus{code, 0xFFFF, std::move(msg)};
}

}  // namespace

uint16_t generateRequestId() {
    g_requestId = static_cast<uint16_t>(g_requestId + 1u);
    return g_requestId;
}

// ---- Builders -------------------------------------------------------------------------------

uint8_t* initGetPropertyReq(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_GET_PROPERTY, propertyId);
}

uint8_t* initSetPropertyReq(uint8_t* buf, uint32_t propertyId, uint32_t value) {
    writeHeader(buf, 4, OPCODE_SET_PROPERTY);
    writeLe32(buf + kOffPayload, propertyId);
    writeLe32(buf + kOffPayload + 4, value);
    return buf;
}

uint8_t* initGetStructureDataReq(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_GET_STRUCTURE_DATA, propertyId);
}

uint8_t* initSetStructureDataReq(uint8_t* buf, uint32_t propertyId, const uint8_t* data,
                                 uint16_t size) {
    writeHeader(buf, static_cast<uint16_t>(wordsFor(size) + 2u), OPCODE_SET_STRUCTURE_DATA);
    writeLe32(buf + kOffPayload, propertyId);
    if (size != 0) {
        std::memcpy(buf + kOffPayload + 4, data, size);
    }
    return buf;
}

uint8_t* initHeartbeatAndStateReq(uint8_t* buf) {
    return writeHeader(buf, 0, OPCODE_HEARTBEAT_AND_STATE);
}

uint8_t* initEraseFlashReq(uint8_t* buf, uint32_t offset, uint32_t size) {
    writeHeader(buf, 4, OPCODE_ERASE_FLASH);
    writeLe32(buf + kOffPayload, offset);
    // Bytes, rounded up to even, in 32 bits (the read request counts words in 16 bits).
    writeLe32(buf + kOffPayload + 4, (size + 1u) & ~1u);
    return buf;
}

uint8_t* initWriteFlashReq(uint8_t* buf, uint32_t offset, const uint8_t* data, uint32_t size) {
    writeHeader(buf, static_cast<uint16_t>(wordsFor(size) + 2u), OPCODE_WRITE_FLASH);
    writeLe32(buf + kOffPayload, offset);
    if (size != 0) {
        std::memcpy(buf + kOffPayload + 4, data, size);
    }
    return buf;
}

uint8_t* initFinishWriteFlashReq(uint8_t* buf) {
    return writeHeader(buf, 0, OPCODE_FINISH_WRITE_FLASH);
}

uint8_t* initFinishWriteFlashWithCrc32Req(uint8_t* buf, uint32_t crc32) {
    writeHeader(buf, 2, OPCODE_FINISH_WRITE_FLASH);
    writeLe32(buf + kOffPayload, crc32);
    return buf;
}

uint8_t* initGetRawDataLength(uint8_t* buf, uint32_t propertyId, uint32_t kind) {
    writeLe16(buf + kOffMagic, kRequestMagic);
    writeLe16(buf + kOffHalfWordSize, 2);
    if (kind == 0) {
        writeLe16(buf + kOffOpcode, OPCODE_GET_READ_DATA_SIZE);
    } else if (kind == 1) {
        writeLe16(buf + kOffOpcode, OPCODE_FINISH_READ_DATA);
    }
    writeLe16(buf + kOffRequestId, generateRequestId());
    writeLe32(buf + kOffPayload, propertyId);
    return buf;
}

uint8_t* initReadRawData(uint8_t* buf, uint32_t propertyId, uint32_t offset, uint32_t size) {
    writeHeader(buf, 6, OPCODE_READ_DATA);
    writeLe32(buf + kOffPayload, propertyId);
    writeLe32(buf + kOffPayload + 4, offset);
    writeLe32(buf + kOffPayload + 8, size);
    return buf;
}

uint8_t* initFinishReadRawData(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_FINISH_READ_DATA, propertyId);
}

uint8_t* initStartWriteRawDataReq(uint8_t* buf, uint32_t propertyId, uint32_t totalSize) {
    writeHeader(buf, 4, OPCODE_START_WRITE_DATA);
    writeLe32(buf + kOffPayload, propertyId);
    writeLe32(buf + kOffPayload + 4, totalSize);
    return buf;
}

uint8_t* initWriteRawDataReq(uint8_t* buf, uint32_t propertyId, const uint8_t* data,
                             uint32_t offset, uint16_t size) {
    return rawDataWrite(buf, static_cast<uint16_t>(wordsFor(size) + 4u), propertyId, data, offset,
                        size);
}

uint8_t* initMiroMaxFirmwareReq(uint8_t* buf, uint32_t propertyId, const uint8_t* data,
                                uint32_t offset, uint16_t size) {
    return rawDataWrite(buf, static_cast<uint16_t>(size / 2u + 4u), propertyId, data, offset, size);
}

uint8_t* initFinishWriteRawDataReq(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_FINISH_WRITE_DATA, propertyId);
}

uint8_t* initReadFlashReq(uint8_t* buf, uint32_t offset, uint32_t size) {
    writeHeader(buf, 3, OPCODE_READ_FLASH);
    writeLe32(buf + kOffPayload, offset);
    writeLe16(buf + kOffPayload + 4, wordsFor(size));
    return buf;
}

uint8_t* initGetCmdVersionReq(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_GET_CMD_VERSION, propertyId);
}

uint8_t* initGetStructureDataReqV1_1(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_GET_STRUCTURE_DATA_V1_1, propertyId);
}

uint8_t* initSetStructureDataReqV1_1(uint8_t* buf, uint32_t propertyId, uint16_t cmdVersion,
                                     const uint8_t* data, uint16_t size) {
    writeHeader(buf, static_cast<uint16_t>(wordsFor(size) + 3u), OPCODE_SET_STRUCTURE_DATA_V1_1);
    writeLe32(buf + kOffPayload, propertyId);
    writeLe16(buf + kOffPayload + 4, cmdVersion);
    if (size != 0) {
        std::memcpy(buf + kOffPayload + 6, data, size);
    }
    return buf;
}

uint8_t* initStartGetStructureDataList(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_START_GET_STRUCTURE_DATA_LIST, propertyId);
}

uint8_t* initGetStructureDataList(uint8_t* buf, uint32_t propertyId, uint32_t offset,
                                  uint32_t size) {
    writeHeader(buf, 6, OPCODE_GET_STRUCTURE_DATA_LIST);
    writeLe32(buf + kOffPayload, propertyId);
    writeLe32(buf + kOffPayload + 4, offset);
    writeLe32(buf + kOffPayload + 8, size);
    return buf;
}

uint8_t* initFinishGetStructureDataList(uint8_t* buf, uint32_t propertyId) {
    return propertyOnly(buf, OPCODE_FINISH_GET_STRUCTURE_DATA_LIST, propertyId);
}

uint16_t getExpectedRespSize(uint16_t opcode) {
    switch (opcode) {
        case OPCODE_GET_STRUCTURE_DATA:
        case OPCODE_HEARTBEAT_AND_STATE:
        case OPCODE_GET_STRUCTURE_DATA_V1_1:
            return 512;
        case OPCODE_READ_DATA:
        case OPCODE_READ_FLASH:
        case OPCODE_GET_STRUCTURE_DATA_LIST:
            return 1024;
        default:
            return 64;
    }
}

// ---- Views and parsers ----------------------------------------------------------------------

uint16_t RespView::magic() const {
    return readLe16(bytes_ + kOffMagic);
}
uint16_t RespView::halfWordSize() const {
    return readLe16(bytes_ + kOffHalfWordSize);
}
uint16_t RespView::opcode() const {
    return readLe16(bytes_ + kOffOpcode);
}
uint16_t RespView::requestId() const {
    return readLe16(bytes_ + kOffRequestId);
}
uint16_t RespView::status() const {
    return readLe16(bytes_ + kOffStatus);
}

int32_t GetPropertyResp::currentValue() const {
    return static_cast<int32_t>(readLe32(bytes() + kOffData));
}
uint16_t GetStructureDataRespV1_1::cmdVersion() const {
    return readLe16(bytes() + kOffData);
}
uint32_t GetRawDataLengthResp::totalLength() const {
    return readLe32(bytes() + kOffData);
}

uint16_t getStructureDataSize(const GetStructureDataResp& resp) {
    return static_cast<uint16_t>(resp.halfWordSize() * 2 - 2);
}

int16_t getStructureDataSizeV1_1(const GetStructureDataRespV1_1& resp) {
    return static_cast<int16_t>(resp.halfWordSize() * 2 - 4);
}

GetPropertyResp parseGetPropertyResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 30);
    return {resp, length};
}
RespView parseSetPropertyResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 10);
    return {resp, length};
}
GetStructureDataResp parseGetStructureDataResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 11);
    return {resp, length};
}
RespView parseSetStructureDataResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 10);
    return {resp, length};
}
RespView parseHeartbeatAndStateResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 18);
    return {resp, length};
}
GetRawDataLengthResp parseGetRawDataLengthResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 14);
    return {resp, length};
}
RespView parseReadRawDataResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 11);
    return {resp, length};
}
RespView parseReadFlashResp(const uint8_t* resp, uint32_t length) {
    requireLength(length, 11);
    return {resp, length};
}
RespView parseGetCmdVerDataResp(const uint8_t* resp, uint16_t length) {
    // 9, one byte short of a whole status word: the device's command-version answers have
    // always been accepted at this length.
    requireLength(length, 9);
    return {resp, length};
}
GetStructureDataRespV1_1 parseGetStructureDataRespV1_1(const uint8_t* resp, uint16_t length) {
    requireLength(length, 13);
    return {resp, length};
}
RespView parseSetStructureDataRespV1_1(const uint8_t* resp, uint16_t length) {
    requireLength(length, 10);
    return {resp, length};
}
RespView parseStartStructureDataListResp(const uint8_t* resp, uint16_t length) {
    requireLength(length, 16);
    return {resp, length};
}

// ---- Validation, execution, status ----------------------------------------------------------

HpStatus validateResp(const uint8_t* response, uint16_t size, uint16_t expectedOpcode,
                      uint16_t expectedRequestId) {
    if (size < kRespHeaderSize) {
        return failure(HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE,
                       "Device response with wrong data size");
    }
    const RespView resp(response, size);
    if (resp.magic() != kResponseMagic) {
        // The space before the comma and the "expectOpCode" label are the message's own.
        return failure(
            HP_STATUS_DEVICE_RESPONSE_BAD_MAGIC,
            fmt::format("Device response with bad magic , magic=0x{:x}, expectOpCode=0x{:x}",
                        resp.magic(), kResponseMagic));
    }
    if (resp.requestId() != expectedRequestId) {
        return failure(HP_STATUS_DEVICE_RESPONSE_REQUEST_ID_MISMATCH,
                       fmt::format("Device response with inconsistent response requestId, "
                                   "cmdId={}, requestId={}",
                                   resp.requestId(), expectedRequestId));
    }
    if (resp.opcode() != expectedOpcode) {
        return failure(HP_STATUS_DEVICE_RESPONSE_OPCODE_MISMATCH,
                       fmt::format("Device response with inconsistent opcode, opcode={}, "
                                   "expectedOpcode={}",
                                   resp.opcode(), expectedOpcode));
    }
    const auto dataSize = static_cast<uint16_t>(resp.halfWordSize() * 2 - 2);
    if (size < dataSize + kRespHeaderSize) {
        return failure(HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE,
                       "Device response with wrong data size");
    }
    const uint16_t status = resp.status();
    if (status == 0) {
        return HpStatus{};
    }
    if (status == 0xFFFF) {
        return failure(HP_STATUS_DEVICE_RESPONSE_ERROR_UNKNOWN,
                       "Device response with unknown error");
    }
    // The device's text is zero-terminated within the data it declared; it may also lack the
    // terminator, so the copy stops at the declared end.
    const auto* text = reinterpret_cast<const char*>(resp.data());
    const std::string msg(text, strnlen(text, dataSize));
    return HpStatus{
        status >= 0x8000 ? HP_STATUS_DEVICE_RESPONSE_WARNING : HP_STATUS_DEVICE_RESPONSE_ERROR,
        status, msg};
}

HpStatus execute(vx_device_t* device, uint8_t* request, uint16_t requestLength, uint8_t* response,
                 uint16_t* responseLength) {
    const uint16_t opcode = readLe16(request + kOffOpcode);
    const uint16_t requestId = readLe16(request + kOffRequestId);
    // Set once: a retry offers the capacity as the first answer left it.
    uint32_t receiveLength = getExpectedRespSize(opcode);
    HpStatus result;
    for (int attempt = 0; attempt < 2; ++attempt) {
        const uint32_t offered = receiveLength;
        vx_error* error = nullptr;
        try {
            vx_device_send_and_receive_data(device, request, requestLength, response,
                                            &receiveLength, &error);
        } catch (...) {
            if (error != nullptr) {
                vx_delete_error(error);
            }
            return failure(HP_STATUS_TRANSFER_FAILED, "Send and receive data transfer failed!");
        }
        if (error != nullptr) {
            vx_delete_error(error);
            return failure(HP_STATUS_TRANSFER_FAILED, "Send and receive data transfer failed!");
        }
        if (receiveLength > offered) {
            // The host claims more bytes than the buffer could take: nothing past the buffer
            // may be read, so the answer is refused as a wrong size, and its length is never
            // handed on (some callers look at the bytes of a refused answer).
            *responseLength = 0;
            return failure(HP_STATUS_DEVICE_RESPONSE_WRONG_DATA_SIZE,
                           "Device response with wrong data size");
        }
        *responseLength = static_cast<uint16_t>(receiveLength);
        result = validateResp(response, static_cast<uint16_t>(receiveLength), opcode, requestId);
        const bool stale = result.statusCode == HP_STATUS_DEVICE_RESPONSE_REQUEST_ID_MISMATCH;
        if (!(stale || result.respErrorCode == 3)) {
            break;
        }
    }
    return result;
}

bool checkStatus(const HpStatus& status, bool throwException) {
    // Every exchange passes here: the good answer leaves before any text is set up.
    if (status.statusCode == HP_STATUS_OK) {
        return true;
    }
    std::string text;
    switch (status.statusCode) {
        case HP_STATUS_DEVICE_RESPONSE_WARNING:
            log_ext(VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC,
                    "Request failed, device response with warning, errorCode: {0}, msg:{1}",
                    status.respErrorCode, status.msg);
            return false;
        case HP_STATUS_DEVICE_RESPONSE_ERROR:
            text = fmt::format("Request failed, device response with error, errorCode: {}, msg: {}",
                               static_cast<int32_t>(status.respErrorCode), status.msg);
            break;
        case HP_STATUS_DEVICE_RESPONSE_ERROR_UNKNOWN:
            text = "Request failed, device response with unknown error!";
            break;
        default:
            text = fmt::format("Request failed, statusCode: {}, msg: {}",
                               static_cast<int32_t>(status.statusCode), status.msg);
            break;
    }
    if (throwException) {
        throw std::runtime_error(text);
    }
    log_ext(VX_LOG_SEVERITY_ERROR, VX_SOURCE_LOC, "{}", text);
    return false;
}

}  // namespace libvxsensor::protocol
