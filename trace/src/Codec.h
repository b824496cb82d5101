// The lines of a trace as JSON, and the two encodings under them: base64 for bytes and a 64-bit
// FNV-1a hash that tells a damaged trace from a whole one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vxtrace/Trace.h"

namespace vxtrace::codec {

using Json = nlohmann::ordered_json;

std::string toBase64(const uint8_t* data, size_t size);
// TraceError naming `what` when the text is not canonical base64.
std::vector<uint8_t> fromBase64(const std::string& text, const std::string& what);

inline constexpr uint64_t kHashStart = 0xcbf29ce484222325ULL;
uint64_t hash(uint64_t state, const char* data, size_t size);
std::string hashText(uint64_t hash);

Json entryToJson(const Entry& entry);
// TraceError with `where` ("line 12") in front of what is wrong.
Entry entryFromJson(const Json& line, const std::string& where);

// The header without its last two fields (entries, checksum), which the writer adds.
Json headerToJson(const Header& header, const std::vector<EmbeddedFile>& files);
// The header, and the size and hash of each embedded file it announces.
struct FileSlot {
    std::string name;
    uint64_t size = 0;
    std::string checksum;
    bool carried = true;
};
Header headerFromJson(const Json& line, std::vector<FileSlot>& files, std::string& checksum);

}  // namespace vxtrace::codec
