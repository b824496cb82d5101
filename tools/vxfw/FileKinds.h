// The file kinds the library takes, how vxfw tells them apart, and the preset file's layout (the
// library keeps that layout private to its parser; pack and inspect both need it).
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

// The whole file; false with a reason in `error` when it cannot be read (a directory, no
// permission, more than 4 GiB: every parser of the library takes a 32-bit size).
bool readWholeFile(const std::string& path, Bytes& out, std::string& error);
bool writeWholeFile(const std::string& path, const Bytes& data, std::string& error);

namespace presetfile {
inline constexpr uint32_t kHeaderSize = 64;
inline constexpr uint32_t kMaxHeaderSize = 128;
inline constexpr uint32_t kRecordHeaderSize = 128;
inline constexpr uint32_t kMagic = 0x74737270;  // "prst"
inline constexpr size_t kOffHeaderSize = 0;
inline constexpr size_t kOffCount = 4;
inline constexpr size_t kOffProductName = 24;
inline constexpr size_t kProductNameSize = 16;
inline constexpr size_t kOffMagic = 40;
inline constexpr size_t kOffRecordSize = 0;
inline constexpr size_t kOffDataLength = 4;
inline constexpr size_t kOffFlashAddress = 8;
inline constexpr size_t kOffWriteSize = 16;
inline constexpr size_t kOffChecksum = 20;
inline constexpr size_t kOffPids = 104;
inline constexpr size_t kPidSlots = 12;
}  // namespace presetfile

}  // namespace vxfw
