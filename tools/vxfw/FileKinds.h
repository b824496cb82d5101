// The file kinds the library takes, and how vxfw tells them apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vxfw {

using Bytes = std::vector<uint8_t>;

// In detection order: the first kind whose signature the bytes carry wins.
enum class FileKind {
    MiroMaxPackage,       // "QZTW" at 0
    L5ProComposite,       // "PK\3\4" at 0
    ComputingPowerBoard,  // "OTRA" at 0
    PresetPackage,        // "VXPRESET" at 0
    L840Presets,          // header size <= 128 at 0 and "prst" at 40
    L5Image,              // DC CD 5A A5 at size - 100
    L840Container,        // header size <= 128 at 0 and FF FF FF FF at 40
    OpenNIImage,          // exactly 128, 192 or 256 KiB
    Unknown,
};

// The identifier used by --json and by pack manifests ("l840-container").
const char* kindId(FileKind kind);
// How people name it ("L840 container").
const char* kindTitle(FileKind kind);

// Every kind whose signature the bytes carry, in detection order; empty for an unknown file.
std::vector<FileKind> matchingKinds(const Bytes& data);

// The largest file vxfw reads or writes: beyond any firmware image of these cameras, and well
// below the 4 GiB that every parser of the library takes, so that a mistaken argument (a disk,
// /dev/zero) is refused before it costs memory rather than after.
inline constexpr uint64_t kMaxFileSize = uint64_t{1} << 30;

// The whole file; false with a reason in `error` when it cannot be read: no permission, a
// directory or device, more than kMaxFileSize (judged from the file's size before reading where
// the file has one).
bool readWholeFile(const std::string& path, Bytes& out, std::string& error);
bool writeWholeFile(const std::string& path, const Bytes& data, std::string& error);

}  // namespace vxfw
