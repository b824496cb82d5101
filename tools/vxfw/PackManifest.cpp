// Checked access to manifest values.
#include "vxfw/PackManifest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include <fmt/format.h>

namespace vxfw::pack {

namespace {

bool parseUnsigned(const std::string& text, uint64_t& out) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    if (digits.empty() || digits.size() > 20) return false;
    out = 0;
    for (const char c : digits) {
        int digit = -1;
        if (c >= '0' && c <= '9') digit = c - '0';
        if (hex && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
        if (hex && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
        if (digit < 0) return false;
        const uint64_t base = hex ? 16 : 10;
        if (out > (std::numeric_limits<uint64_t>::max() - static_cast<uint64_t>(digit)) / base) {
            return false;
        }
        out = out * base + static_cast<uint64_t>(digit);
    }
    return true;
}

uint64_t readNumber(const nlohmann::json& v, const std::string& place, uint64_t max) {
    uint64_t n = 0;
    if (v.is_number_unsigned()) {
        n = v.get<uint64_t>();
    } else if (!v.is_string() || !parseUnsigned(v.get<std::string>(), n)) {
        throw ManifestError(place +
                            ": expected a number or a text such as \"4096\" or \"0x100000\"");
    }
    if (n > max) {
        throw ManifestError(fmt::format(
            "{}: {} is above the largest value allowed here, {} (0x{:X})", place, n, max, max));
    }
    return n;
}

}  // namespace

Node::Node(const nlohmann::json& value, std::string place, std::string baseDir)
    : value_(value), place_(std::move(place)), baseDir_(std::move(baseDir)) {
    if (!value_.is_object())
        throw ManifestError((place_.empty() ? "the manifest" : place_) + ": expected an object");
}

void Node::allowOnly(std::initializer_list<const char*> keys) const {
    for (const auto& item : value_.items()) {
        const bool allowed = std::any_of(keys.begin(), keys.end(),
                                         [&item](const char* key) { return item.key() == key; });
        if (!allowed) fail(item.key().c_str(), "unknown key");
    }
}

std::string Node::placeOf(const char* key) const {
    return place_.empty() ? key : place_ + "." + key;
}

void Node::fail(const char* key, const std::string& problem) const {
    throw ManifestError(placeOf(key) + ": " + problem);
}

const nlohmann::json& Node::at(const char* key) const {
    if (!has(key)) fail(key, "missing");
    return value_.at(key);
}

Node Node::object(const char* key) const {
    return Node(at(key), placeOf(key), baseDir_);
}

std::vector<Node> Node::objects(const char* key, size_t min, size_t max) const {
    const nlohmann::json& list = at(key);
    if (!list.is_array()) fail(key, "expected an array");
    if (list.size() < min || list.size() > max) {
        fail(key, fmt::format("expected {} to {} entries, found {}", min, max, list.size()));
    }
    std::vector<Node> nodes;
    for (size_t i = 0; i < list.size(); ++i) {
        nodes.emplace_back(list[i], fmt::format("{}[{}]", placeOf(key), i), baseDir_);
    }
    return nodes;
}

uint64_t Node::number(const char* key, uint64_t max) const {
    return readNumber(at(key), placeOf(key), max);
}

uint64_t Node::number(const char* key, uint64_t max, uint64_t fallback) const {
    return has(key) ? number(key, max) : fallback;
}

int64_t Node::signedNumber(const char* key, int64_t min, int64_t max) const {
    const nlohmann::json& v = at(key);
    if (!v.is_number_integer()) fail(key, "expected a whole number");
    const auto n = v.get<int64_t>();
    if (v.is_number_unsigned() && v.get<uint64_t>() > static_cast<uint64_t>(max)) {
        fail(key, fmt::format("expected {} to {}", min, max));
    }
    if (n < min || n > max) fail(key, fmt::format("expected {} to {}", min, max));
    return n;
}

std::string Node::text(const char* key, size_t maxLength) const {
    const nlohmann::json& v = at(key);
    if (!v.is_string()) fail(key, "expected a text");
    auto s = v.get<std::string>();
    if (s.size() > maxLength) fail(key, fmt::format("at most {} bytes fit the field", maxLength));
    if (s.find('\0') != std::string::npos) fail(key, "a NUL would end the text early");
    return s;
}

std::string Node::text(const char* key, size_t maxLength, const std::string& fallback) const {
    return has(key) ? text(key, maxLength) : fallback;
}

std::vector<uint16_t> Node::productIds(const char* key, size_t maxCount) const {
    std::vector<uint16_t> pids;
    if (!has(key)) return pids;
    const nlohmann::json& list = at(key);
    if (!list.is_array() || list.size() > maxCount) {
        fail(key, fmt::format("expected an array of at most {} product ids", maxCount));
    }
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string place = fmt::format("{}[{}]", placeOf(key), i);
        const auto pid = static_cast<uint16_t>(readNumber(list[i], place, 0xFFFF));
        if (pid == 0) throw ManifestError(place + ": 0 marks an unused slot; leave it out instead");
        pids.push_back(pid);
    }
    return pids;
}

std::string Node::payloadPath() const {
    std::string path = text("file", 4096);
    if (path.empty()) fail("file", "empty file name");
    if (path.front() != '/' && !baseDir_.empty()) path = baseDir_ + "/" + path;
    return path;
}

Bytes Node::payload() const {
    if (has("file") == has("fill")) fail("file", "give the data either as \"file\" or as \"fill\"");
    if (has("fill")) {
        const Node fill = object("fill");
        fill.allowOnly({"byte", "size"});
        const auto byte = static_cast<uint8_t>(fill.number("byte", 0xFF));
        return Bytes(static_cast<size_t>(fill.number("size", kMaxDataSize)), byte);
    }
    const std::string path = payloadPath();
    Bytes data;
    std::string error;
    if (!readWholeFile(path, data, error)) fail("file", "cannot read " + path + ": " + error);
    if (data.size() > kMaxDataSize) fail("file", path + " is larger than 256 MiB");
    return data;
}

uint64_t Node::payloadSize() const {
    if (has("file") == has("fill")) fail("file", "give the data either as \"file\" or as \"fill\"");
    if (has("fill")) return object("fill").number("size", kMaxDataSize);
    const std::string path = payloadPath();
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) {
        fail("file", "cannot read " + path + ": " + std::strerror(errno));
    }
    // A pipe or device has no size to go by; reading it will judge it.
    return S_ISREG(info.st_mode) ? static_cast<uint64_t>(info.st_size) : 0;
}

}  // namespace vxfw::pack
