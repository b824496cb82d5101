// The L840 firmware container: a file header, then component records in the layout of
// L840Records.h. All fields little-endian; texts are zero-terminated ASCII inside fixed-size
// fields.
//
// File header (first record starts at its declared size, at most 128; 64 bytes carry meaning):
//   0 u32 header size | 4 u32 component count | 8 char[16] build date-time (YYYYMMDD...)
//   24 char[16] firmware serial | 40 u32 marker 0xFFFFFFFF | 44 20 bytes not interpreted
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "firmware/L840Records.h"

namespace libvxsensor {

namespace l840container {
inline constexpr uint32_t kHeaderSize = 64;
inline constexpr uint32_t kMaxHeaderSize = 128;
inline constexpr uint32_t kMarker = 0xFFFFFFFF;
inline constexpr size_t kOffHeaderSize = 0;
inline constexpr size_t kOffCount = 4;
inline constexpr size_t kOffDateTime = 8;
inline constexpr size_t kOffSerial = 24;
inline constexpr size_t kTextSize = 16;
inline constexpr size_t kOffMarker = 40;

// Components bound for these addresses are the ISP firmware: written with a CRC check instead of
// a read-back, and skipped when the camera already runs their version.
inline bool isIspAddress(uint64_t address) {
    return address == 0x500000 || address == 0x580000 || address == 0x5D0000;
}
}  // namespace l840container

// The file header as read: bytes beyond the declared header size are zero.
struct L840FirmwareFileHeader {
    std::array<uint8_t, l840container::kHeaderSize> raw{};

    uint32_t headerSize() const;
    uint32_t componentCount() const;
    std::string dateTime() const;
    std::string serial() const;
    uint32_t marker() const;
};

// A component: its record header, its data still in the container.
using L840FirmwareData = L840Record;

class L840FirmwareParser {
public:
    // Checks the whole container in one pass (headers, bounds, every checksum) and throws
    // mismatch_firmware_exception_ext on any defect. Bytes after the last record are ignored.
    // Borrows `data`, which must outlive the parser and every component it hands out: an image
    // of tens of MiB is never held twice, and a file of tiny records costs no list.
    L840FirmwareParser(const uint8_t* data, uint32_t size);

    const L840FirmwareFileHeader& getFileHeader() const { return fileHeader_; }
    // The components in file order, walked on demand.
    const L840Records& getFirmwareDataList() const { return components_; }
    // The firmware version the file brings: the version text its components other than the ISP
    // firmware agree on; empty when they name none or disagree (the ISP firmware has versions
    // of its own).
    std::string firmwareVersion() const;

    // Throws mismatch_firmware_exception_ext when the data does not match its checksum.
    static void checkFirmwareData(const L840FirmwareData& firmwareData);
    // Whether the component may be flashed onto a device with product id `pid`.
    static bool isFirmwareDataAdaptable(const L840FirmwareData& firmwareData, uint16_t pid);

private:
    L840FirmwareFileHeader fileHeader_;
    L840Records components_;
};

// Writes a container: the header with the count and marker computed, then the components. A
// valid file by default, with placeholder texts; the damage knobs make files the parser must
// refuse.
class L840ContainerWriter {
public:
    L840ContainerWriter& date(std::string v);
    L840ContainerWriter& serial(std::string v);
    L840ContainerWriter& component(L840RecordWriter c);
    // Damage: the declared header size (the 64-byte layout cut or padded with zeros), another
    // marker, another count, the file cut to `n` bytes, bytes after the last component.
    L840ContainerWriter& headerSize(uint32_t v);
    L840ContainerWriter& marker(uint32_t v);
    L840ContainerWriter& count(uint32_t v);
    L840ContainerWriter& truncateTo(size_t n);
    L840ContainerWriter& trailing(std::vector<uint8_t> v);

    std::vector<uint8_t> write() const;

private:
    std::string date_ = "20250408";
    std::string serial_ = "L840-0001";
    std::vector<L840RecordWriter> components_;
    uint32_t headerSize_ = l840container::kHeaderSize;
    uint32_t marker_ = l840container::kMarker;
    std::optional<uint32_t> count_;
    std::optional<size_t> truncateTo_;
    std::vector<uint8_t> trailing_;
};

}  // namespace libvxsensor
