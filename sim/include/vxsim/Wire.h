// The vendor protocol's byte layout as a device sees it: parse the host's requests, build the
// answers. Kept apart from the extension's own codec so that each checks the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vxsim/Emulator.h"

namespace vxsim::wire {

enum Opcode : uint16_t {
    GetProperty = 1,
    SetProperty = 2,
    GetStructureData = 3,
    SetStructureData = 4,
    HeartbeatAndState = 5,
    EraseFlash = 13,
    WriteFlash = 14,
    FinishWriteFlash = 15,
    GetReadDataSize = 17,
    ReadData = 18,
    FinishReadData = 19,
    StartWriteData = 20,
    WriteData = 21,
    FinishWriteData = 22,
    ReadFlash = 25,
    GetCmdVersion = 26,
    GetStructureDataV1_1 = 27,
    SetStructureDataV1_1 = 28,
    StartGetStructureDataList = 29,
    GetStructureDataList = 30,
    FinishGetStructureDataList = 31,
};

constexpr size_t kRequestHeaderSize = 8;
constexpr size_t kResponseHeaderSize = 10;  // the status word counts as header for data offsets

// Upper-case protocol name of an opcode ("WRITE_FLASH"), "UNKNOWN" for anything else.
const char* opcodeName(uint16_t opcode);

uint16_t le16(const uint8_t* p);
uint32_t le32(const uint8_t* p);
void putLe16(std::vector<uint8_t>& out, uint16_t value);
void putLe32(std::vector<uint8_t>& out, uint32_t value);

struct Request {
    uint16_t halfWordSize = 0;  // as the host wrote it; not checked against the payload
    uint16_t opcode = 0;
    uint16_t requestId = 0;
    std::vector<uint8_t> payload;

    // Little-endian fields of the payload; 0 when they would reach past its end.
    uint32_t u32(size_t payloadOffset) const;
    uint16_t u16(size_t payloadOffset) const;
};

// nullopt when the bytes cannot be a request (too short for the header, wrong magic).
std::optional<Request> parseRequest(const std::vector<uint8_t>& bytes);

// One line for people: the opcode's name, the request id and the payload's fields by name
// ("WRITE_FLASH id=7 offset=0x00100000 data=512 bytes"); what cannot be a request says so.
std::string describeRequest(const std::vector<uint8_t>& bytes);

std::vector<uint8_t> makeResponse(uint16_t opcode, uint16_t requestId, uint16_t status,
                                  const std::vector<uint8_t>& data = {});

// Answers that echo the request's opcode and id.
Reply okReply(const Request& request, const std::vector<uint8_t>& data = {});
// `text` travels zero-terminated after the status; an empty text sends no data at all.
Reply statusReply(const Request& request, uint16_t status, const std::string& text = {});

}  // namespace vxsim::wire
