// Reading a pack manifest. Every value is checked, and every error names the value's place in the
// manifest ("components[1].address"), so that a manifest can be fixed from the message alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "vxfw/FileKinds.h"

namespace vxfw {

// vxfw pack: builds the file a manifest describes; returns the exit status.
// `allowEmpty`: write a container without components too (the library takes it and writes
// nothing, so pack refuses it unless asked).
int runPack(const std::string& manifestPath, const std::string& outputPath, bool allowEmpty,
            bool json);

namespace pack {

// Enough for any flash image these cameras take; a typo in a size should not eat the memory of
// a small board.
inline constexpr uint64_t kMaxDataSize = uint64_t{256} << 20;

struct ManifestError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// One JSON object of the manifest, with its place in it and the directory that data file names
// are relative to.
class Node {
public:
    Node(const nlohmann::json& value, std::string place, std::string baseDir);

    // A misspelt optional key would otherwise be ignored silently.
    void allowOnly(std::initializer_list<const char*> keys) const;
    bool has(const char* key) const { return value_.contains(key); }
    Node object(const char* key) const;
    // The objects of an array, at least `min` and at most `max` of them.
    std::vector<Node> objects(const char* key, size_t min, size_t max) const;

    // A JSON number or a text such as "0x100000", at most `max`.
    uint64_t number(const char* key, uint64_t max) const;
    uint64_t number(const char* key, uint64_t max, uint64_t fallback) const;
    int64_t signedNumber(const char* key, int64_t min, int64_t max) const;
    // At most `maxLength` bytes, so that a terminating NUL still fits the field.
    std::string text(const char* key, size_t maxLength) const;
    std::string text(const char* key, size_t maxLength, const std::string& fallback) const;
    // Up to `maxCount` product ids, none of them 0 (0 marks an unused slot in the files).
    std::vector<uint16_t> productIds(const char* key, size_t maxCount) const;
    // The bytes named by "file" (relative to the manifest) or made by "fill".
    Bytes payload() const;
    // Their size, known without reading or making them: what the manifest will cost.
    uint64_t payloadSize() const;

    [[noreturn]] void fail(const char* key, const std::string& problem) const;

private:
    const nlohmann::json& at(const char* key) const;
    std::string placeOf(const char* key) const;
    std::string payloadPath() const;

    const nlohmann::json& value_;
    std::string place_;
    std::string baseDir_;
};

}  // namespace pack

}  // namespace vxfw
