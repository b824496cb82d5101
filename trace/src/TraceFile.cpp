// Reading and writing trace files: a header line, the embedded files in chunks, one line per
// host call. The header carries the number of entries and a hash of their lines, so a trace cut
// short or damaged is refused before anything is replayed from it.
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>

#include "Codec.h"

namespace vxtrace {

namespace {

using codec::Json;

// Far beyond the trace of the largest update (see docs/trace-format.md for the figures), and
// small enough that a hostile file cannot make a 32-bit reader run out of address space.
constexpr uint64_t kMaxTraceBytes = 512ull << 20;
constexpr size_t kFileChunk = size_t{48} * 1024;

std::string dumpLine(const Json& line) {
    // Texts from hosts and cameras may hold anything: invalid UTF-8 is replaced, not refused.
    return line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

// No line of a trace nests deeper than three; a hostile one that nests thousands deep would
// only exhaust the stack of whatever copies or prints it.
constexpr int kMaxNesting = 8;

bool nestsTooDeep(const char* text, size_t size) {
    int depth = 0;
    bool inString = false;
    for (size_t i = 0; i < size; ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\') ++i;
            inString = c != '"';
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxNesting) return true;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

// The lines of a trace, each checked to be whole.
class Lines {
public:
    Lines(const uint8_t* data, size_t size, std::string name)
        : data_(reinterpret_cast<const char*>(data)), size_(size), name_(std::move(name)) {}

    bool done() const { return at_ >= size_; }
    size_t number() const { return number_; }
    std::string where() const { return name_ + " line " + std::to_string(number_); }

    // The next line as JSON; the line's bytes (with their newline) in `raw`.
    Json next(const char*& raw, size_t& rawSize) {
        const void* end = std::memchr(data_ + at_, '\n', size_ - at_);
        ++number_;
        if (end == nullptr) {
            throw TraceError(name_ + " is cut short: line " + std::to_string(number_) +
                             " has no end");
        }
        raw = data_ + at_;
        rawSize = static_cast<size_t>(static_cast<const char*>(end) - raw) + 1;
        at_ += rawSize;
        if (nestsTooDeep(raw, rawSize)) throw TraceError(where() + " nests deeper than a trace");
        Json line = Json::parse(raw, raw + rawSize - 1, nullptr, false);
        if (line.is_discarded()) throw TraceError(where() + " is not JSON: the trace is damaged");
        return line;
    }
    Json next() {
        const char* raw = nullptr;
        size_t rawSize = 0;
        return next(raw, rawSize);
    }

private:
    const char* data_;
    size_t size_;
    std::string name_;
    size_t at_ = 0;
    size_t number_ = 0;
};

std::vector<uint8_t> readFileLines(Lines& lines, uint32_t index, const codec::FileSlot& slot,
                                   const std::string& name) {
    std::vector<uint8_t> bytes;
    if (!slot.carried) return bytes;
    while (bytes.size() < slot.size) {
        if (lines.done()) throw TraceError(name + " is cut short inside file " + slot.name);
        const Json line = lines.next();
        const std::string where = lines.where();
        if (!line.is_object() || line.value("file", Json()) != index ||
            line.value("at", Json()) != bytes.size() || !line.contains("data") ||
            !line["data"].is_string()) {
            throw TraceError(where + ": not the next piece of file " + slot.name);
        }
        const std::vector<uint8_t> piece =
            codec::fromBase64(line["data"].get<std::string>(), where + ": \"data\"");
        if (piece.empty() || piece.size() > slot.size - bytes.size()) {
            throw TraceError(where + ": a piece that does not fit file " + slot.name);
        }
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    if (fileChecksum(bytes) != slot.checksum) {
        throw TraceError(name + " is damaged: file " + slot.name + " does not match its checksum");
    }
    return bytes;
}

void writeAll(std::FILE* file, const std::string& text, const std::string& path) {
    if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) {
        throw TraceError("cannot write " + path + ": " + std::strerror(errno));
    }
}

}  // namespace

Trace parseTrace(const uint8_t* data, size_t size, const std::string& name) {
    if (size > kMaxTraceBytes) {
        throw TraceError(name + " is larger than " + std::to_string(kMaxTraceBytes >> 20) +
                         " MiB: no trace of this format is");
    }
    if (size == 0) throw TraceError(name + " is empty: not a trace");
    Lines lines(data, size, name);
    Trace trace;
    std::vector<codec::FileSlot> slots;
    std::string checksum;
    const Json first = lines.next();
    try {
        trace.header = codec::headerFromJson(first, slots, checksum);
    } catch (const TraceError& e) {
        throw TraceError(name + ": " + e.what());
    }
    for (uint32_t i = 0; i < slots.size(); ++i) {
        trace.files.push_back({slots[i].name, readFileLines(lines, i, slots[i], name),
                               slots[i].carried, slots[i].size, slots[i].checksum});
    }
    uint64_t hash = codec::kHashStart;
    while (!lines.done()) {
        const char* raw = nullptr;
        size_t rawSize = 0;
        const Json line = lines.next(raw, rawSize);
        hash = codec::hash(hash, raw, rawSize);
        trace.entries.push_back(codec::entryFromJson(line, lines.where()));
    }
    if (trace.entries.size() < trace.header.entries) {
        throw TraceError(name + " is cut short: " + std::to_string(trace.entries.size()) +
                         " of its " + std::to_string(trace.header.entries) + " entries are there");
    }
    if (trace.entries.size() > trace.header.entries) {
        throw TraceError(name + " is damaged: it holds more entries than its header counts");
    }
    if (codec::hashText(hash) != checksum) {
        throw TraceError(name + " is damaged: its entries do not match the header's checksum");
    }
    return trace;
}

Trace readTrace(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) throw TraceError("cannot read trace " + path + ": " + std::strerror(errno));
    const std::streamoff size = file.tellg();
    if (size < 0 || static_cast<uint64_t>(size) > kMaxTraceBytes) {
        throw TraceError(path + " is larger than " + std::to_string(kMaxTraceBytes >> 20) +
                         " MiB: no trace of this format is");
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    file.seekg(0);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size))) {
        throw TraceError("cannot read trace " + path);
    }
    return parseTrace(bytes.data(), bytes.size(), path);
}

TraceWriter::TraceWriter(std::string path) : path_(std::move(path)), hash_(codec::kHashStart) {
    part_ = std::fopen((path_ + ".part").c_str(), "wb");
    if (part_ == nullptr) {
        throw TraceError("cannot write trace " + path_ + ".part: " + std::strerror(errno));
    }
}

TraceWriter::~TraceWriter() {
    if (part_ == nullptr) return;
    std::fclose(part_);
    std::remove((path_ + ".part").c_str());
}

void TraceWriter::add(const Entry& entry) {
    const std::string line = dumpLine(codec::entryToJson(entry));
    writeAll(part_, line, path_ + ".part");
    hash_ = codec::hash(hash_, line.data(), line.size());
    ++count_;
    if (entry.error || entry.thrown) return;
    // The identity is what the camera said first; later answers are in the entries.
    const auto first = [this](const char* key, const Json& value) {
        if (!identity_.contains(key)) identity_[key] = value;
    };
    switch (entry.call) {
        case Call::Vid:
        case Call::Pid:
            first(callName(entry.call), entry.value);
            break;
        case Call::ConnectionType:
        case Call::FirmwareVersion:
            if (entry.text) first(callName(entry.call), *entry.text);
            break;
        case Call::ExtensionInfo:
            if (entry.text && !identity_["extensionInfo"].contains(entry.key)) {
                identity_["extensionInfo"][entry.key] = *entry.text;
            }
            break;
        default:
            break;
    }
}

void TraceWriter::finish(Header header, const std::vector<EmbeddedFile>& files) {
    header.identity = identity_;
    Json line = codec::headerToJson(header, files);
    line["entries"] = count_;
    line["checksum"] = codec::hashText(hash_);
    const std::string next = path_ + ".new";
    std::FILE* out = std::fopen(next.c_str(), "wb");
    if (out == nullptr)
        throw TraceError("cannot write trace " + next + ": " + std::strerror(errno));
    try {
        writeAll(out, dumpLine(line), next);
        for (size_t i = 0; i < files.size(); ++i) {
            if (!files[i].carried) continue;
            const std::vector<uint8_t>& bytes = files[i].bytes;
            for (size_t at = 0; at < bytes.size(); at += kFileChunk) {
                const size_t n = std::min(kFileChunk, bytes.size() - at);
                writeAll(
                    out,
                    dumpLine(
                        {{"file", i}, {"at", at}, {"data", codec::toBase64(bytes.data() + at, n)}}),
                    next);
            }
        }
        const bool flushed = std::fclose(part_) == 0;
        part_ = flushed ? std::fopen((path_ + ".part").c_str(), "rb") : nullptr;
        if (part_ == nullptr) throw TraceError("cannot reread " + path_ + ".part");
        char buffer[64 * 1024];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, part_)) > 0;) {
            writeAll(out, std::string(buffer, n), next);
        }
        if (std::fclose(out) != 0) throw TraceError("cannot write trace " + next);
        out = nullptr;
        if (std::rename(next.c_str(), path_.c_str()) != 0) {
            throw TraceError("cannot write trace " + path_ + ": " + std::strerror(errno));
        }
    } catch (...) {
        if (out != nullptr) std::fclose(out);
        std::remove(next.c_str());
        throw;
    }
}

void writeTrace(const std::string& path, const Trace& trace) {
    TraceWriter writer(path);
    for (const Entry& entry : trace.entries) writer.add(entry);
    writer.finish(trace.header, trace.files);
}

std::string utcNow() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

}  // namespace vxtrace
