// Byte-level encoding of vendor requests and responses on the device side. Every field is read
// and written byte by byte, so the code holds on any host endianness and alignment.
#include "vxsim/Wire.h"

#include <cstdio>

namespace vxsim::wire {

const char* opcodeName(uint16_t opcode) {
    switch (opcode) {
        case GetProperty:
            return "GET_PROPERTY";
        case SetProperty:
            return "SET_PROPERTY";
        case GetStructureData:
            return "GET_STRUCTURE_DATA";
        case SetStructureData:
            return "SET_STRUCTURE_DATA";
        case HeartbeatAndState:
            return "HEARTBEAT_AND_STATE";
        case EraseFlash:
            return "ERASE_FLASH";
        case WriteFlash:
            return "WRITE_FLASH";
        case FinishWriteFlash:
            return "FINISH_WRITE_FLASH";
        case GetReadDataSize:
            return "GET_READ_DATA_SIZE";
        case ReadData:
            return "READ_DATA";
        case FinishReadData:
            return "FINISH_READ_DATA";
        case StartWriteData:
            return "START_WRITE_DATA";
        case WriteData:
            return "WRITE_DATA";
        case FinishWriteData:
            return "FINISH_WRITE_DATA";
        case ReadFlash:
            return "READ_FLASH";
        case GetCmdVersion:
            return "GET_CMD_VERSION";
        case GetStructureDataV1_1:
            return "GET_STRUCTURE_DATA_V1_1";
        case SetStructureDataV1_1:
            return "SET_STRUCTURE_DATA_V1_1";
        case StartGetStructureDataList:
            return "START_GET_STRUCTURE_DATA_LIST";
        case GetStructureDataList:
            return "GET_STRUCTURE_DATA_LIST";
        case FinishGetStructureDataList:
            return "FINISH_GET_STRUCTURE_DATA_LIST";
        default:
            return "UNKNOWN";
    }
}

uint16_t le16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t le32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

void putLe16(std::vector<uint8_t>& out, uint16_t value) {
    out.push_back(static_cast<uint8_t>(value & 0xFFu));
    out.push_back(static_cast<uint8_t>(value >> 8));
}

void putLe32(std::vector<uint8_t>& out, uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        out.push_back(static_cast<uint8_t>((value >> shift) & 0xFFu));
    }
}

uint32_t Request::u32(size_t payloadOffset) const {
    if (payloadOffset > payload.size() || payload.size() - payloadOffset < 4) return 0;
    return le32(payload.data() + payloadOffset);
}

uint16_t Request::u16(size_t payloadOffset) const {
    if (payloadOffset > payload.size() || payload.size() - payloadOffset < 2) return 0;
    return le16(payload.data() + payloadOffset);
}

std::optional<Request> parseRequest(const std::vector<uint8_t>& bytes) {
    if (bytes.size() < kRequestHeaderSize || bytes[0] != 'G' || bytes[1] != 'M') {
        return std::nullopt;
    }
    Request request;
    request.halfWordSize = le16(&bytes[2]);
    request.opcode = le16(&bytes[4]);
    request.requestId = le16(&bytes[6]);
    // The payload is whatever follows; a device model decides itself whether the declared
    // size matters to it.
    request.payload.assign(bytes.begin() + kRequestHeaderSize, bytes.end());
    return request;
}

namespace {

// The payload of each request, field by field: a 16- or 32-bit number at an offset, or (size 0)
// the data from the offset on.
struct Field {
    const char* name;
    uint8_t offset;
    uint8_t size;
};
struct Layout {
    uint16_t opcode;
    std::vector<Field> fields;
};

const std::vector<Layout>& layouts() {
    static const std::vector<Layout> table = {
        {GetProperty, {{"property", 0, 4}}},
        {SetProperty, {{"property", 0, 4}, {"value", 4, 4}}},
        {GetStructureData, {{"property", 0, 4}}},
        {SetStructureData, {{"property", 0, 4}, {"data", 4, 0}}},
        {EraseFlash, {{"offset", 0, 4}, {"size", 4, 4}}},
        {WriteFlash, {{"offset", 0, 4}, {"data", 4, 0}}},
        {FinishWriteFlash, {{"crc", 0, 4}}},
        {GetReadDataSize, {{"property", 0, 4}}},
        {ReadData, {{"property", 0, 4}, {"offset", 4, 4}, {"size", 8, 4}}},
        {FinishReadData, {{"property", 0, 4}}},
        {StartWriteData, {{"property", 0, 4}, {"size", 4, 4}}},
        {WriteData, {{"property", 0, 4}, {"offset", 4, 4}, {"data", 8, 0}}},
        {FinishWriteData, {{"property", 0, 4}}},
        {ReadFlash, {{"offset", 0, 4}, {"words", 4, 2}}},
        {GetCmdVersion, {{"property", 0, 4}}},
        {GetStructureDataV1_1, {{"property", 0, 4}}},
        {SetStructureDataV1_1, {{"property", 0, 4}, {"version", 4, 2}, {"data", 6, 0}}},
        {StartGetStructureDataList, {{"property", 0, 4}}},
        {GetStructureDataList, {{"property", 0, 4}, {"offset", 4, 4}, {"size", 8, 4}}},
        {FinishGetStructureDataList, {{"property", 0, 4}}},
    };
    return table;
}

}  // namespace

std::string describeRequest(const std::vector<uint8_t>& bytes) {
    const std::optional<Request> request = parseRequest(bytes);
    if (!request) return "no request (" + std::to_string(bytes.size()) + " bytes, no GM header)";
    char text[64];
    std::snprintf(text, sizeof text, "%s(%u) id=%u words=%u", opcodeName(request->opcode),
                  request->opcode, request->requestId, request->halfWordSize);
    std::string out = text;
    for (const Layout& layout : layouts()) {
        if (layout.opcode != request->opcode) continue;
        for (const Field& f : layout.fields) {
            const size_t have = request->payload.size();
            if (f.size == 0) {
                const size_t n = have > f.offset ? have - f.offset : 0;
                std::snprintf(text, sizeof text, " %s=%zu bytes", f.name, n);
            } else if (have < f.offset + size_t{f.size}) {
                std::snprintf(text, sizeof text, " %s=missing", f.name);
            } else {
                const uint32_t v = f.size == 2 ? request->u16(f.offset) : request->u32(f.offset);
                std::snprintf(text, sizeof text, v > 9 ? " %s=0x%X" : " %s=%u", f.name, v);
            }
            out += text;
        }
    }
    return out;
}

std::vector<uint8_t> makeResponse(uint16_t opcode, uint16_t requestId, uint16_t status,
                                  const std::vector<uint8_t>& data) {
    std::vector<uint8_t> out{'R', 'B'};
    out.reserve(kResponseHeaderSize + data.size() + 1);
    putLe16(out, static_cast<uint16_t>((2 + data.size() + 1) / 2));
    putLe16(out, opcode);
    putLe16(out, requestId);
    putLe16(out, status);
    out.insert(out.end(), data.begin(), data.end());
    // The size field counts half-words, so an odd payload is padded to a whole one.
    if (data.size() % 2 != 0) out.push_back(0);
    return out;
}

Reply okReply(const Request& request, const std::vector<uint8_t>& data) {
    Reply reply;
    reply.bytes = makeResponse(request.opcode, request.requestId, 0, data);
    return reply;
}

Reply statusReply(const Request& request, uint16_t status, const std::string& text) {
    std::vector<uint8_t> data(text.begin(), text.end());
    if (!data.empty()) data.push_back(0);
    Reply reply;
    reply.bytes = makeResponse(request.opcode, request.requestId, status, data);
    return reply;
}

}  // namespace vxsim::wire
