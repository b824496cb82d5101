// The MiroMax firmware package: a 256-byte header, then the payload. The whole package, header
// included, is what the camera receives. Header fields (little-endian, no alignment):
//   0 char[4] magic "QZTW" | 4 29 bytes not interpreted | 33 char[16] platform, NUL-terminated
//   49 char[16] product name (byte 15 forced to NUL) | 65 u32 firmware type (2 firmware,
//   3 application) | 69 187 bytes not interpreted
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/ByteView.h"

namespace libvxsensor {

inline constexpr uint32_t kMiroMaxHeaderSize = 256;
inline constexpr const char* kMiroMaxMagic = "QZTW";
inline constexpr size_t kMiroMaxMagicSize = 4;
inline constexpr const char* kMiroMaxPlatform = "jetson nano";
inline constexpr size_t kMiroMaxOffMagic = 0;
inline constexpr size_t kMiroMaxOffPlatform = 33;
inline constexpr size_t kMiroMaxOffProductName = 49;
inline constexpr size_t kMiroMaxOffFirmwareType = 65;
inline constexpr size_t kMiroMaxTextSize = 16;
inline constexpr uint32_t kMiroMaxTypeFirmware = 2;
inline constexpr uint32_t kMiroMaxTypeApplication = 3;

struct MiroMaxFirmwareFileHeader {
    std::array<uint8_t, 4> magic{};
    std::string platform;     // up to its NUL, at most 16 characters
    std::string productName;  // at most 15 characters
    uint32_t firmwareType = 0;
};

class MiroMaxFirmwareParser {
public:
    // Borrows `data`, which must outlive the parser. Throws mismatch_firmware_exception_ext for a
    // package of 256 bytes or less, a wrong magic or a platform other than "jetson nano".
    explicit MiroMaxFirmwareParser(ByteView data);
    // Deliberately unusable, as it always was: packages are taken from memory only. Throws
    // libvxsensor_exception_ext when the file cannot be opened, mismatch_firmware_exception_ext
    // otherwise.
    explicit MiroMaxFirmwareParser(const std::string& path);

    static void checkHeader(const MiroMaxFirmwareFileHeader& header);

    const MiroMaxFirmwareFileHeader& getFileHeader() const { return header_; }
    uint32_t getTotalSize() const { return total_; }
    uint32_t getOffset() const { return offset_; }
    // The next `length` bytes (fewer at the end), in the caller's data; null once the whole
    // package has been handed out.
    const uint8_t* getData(uint32_t length);

private:
    MiroMaxFirmwareFileHeader header_;
    const uint8_t* memory_ = nullptr;
    uint32_t total_ = 0;
    uint32_t offset_ = 0;
};

// Writes a MiroMax package: the 256-byte header, then the payload. A valid package by default;
// texts fill at most their field, and the damage knobs make files the parser must refuse.
class MiroMaxPackageWriter {
public:
    MiroMaxPackageWriter& magic(std::string v);
    MiroMaxPackageWriter& platform(std::string v);
    MiroMaxPackageWriter& productName(std::string v);
    MiroMaxPackageWriter& firmwareType(uint32_t v);
    MiroMaxPackageWriter& payload(std::vector<uint8_t> v);
    MiroMaxPackageWriter& truncateTo(size_t n);

    std::vector<uint8_t> write() const;

private:
    std::string magic_ = kMiroMaxMagic;
    std::string platform_ = kMiroMaxPlatform;
    std::string productName_ = "miro max";
    uint32_t firmwareType_ = kMiroMaxTypeFirmware;
    std::vector<uint8_t> payload_ = std::vector<uint8_t>(64, 0xA5);
    std::optional<size_t> truncateTo_;
};

}  // namespace libvxsensor
