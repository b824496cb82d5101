// The L840 firmware container: a file header, then component records, each a record header
// followed by the bytes to flash. All fields little-endian; texts are zero-terminated ASCII
// inside fixed-size fields.
//
// File header (first record starts at its declared size, at most 128):
//   0 u32 header size | 4 u32 component count | 8 char[16] build date-time (YYYYMMDD...)
//   24 char[16] firmware serial | 40 u32 marker 0xFFFFFFFF | 44 20 bytes not interpreted
// Record header (declared size at most 128, data follows directly):
//   0 u32 record header size | 4 u32 data length | 8 u64 flash address
//   16 u32 bytes to write | 20 u32 checksum (byte sum of the data, mod 2^32)
//   24 char[16] version | 40 char[64] component name | 104 u16[12] product ids
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/ByteView.h"

namespace libvxsensor {

inline constexpr uint32_t kL840FileHeaderSize = 64;
inline constexpr uint32_t kL840MaxHeaderSize = 128;
inline constexpr uint32_t kL840RecordHeaderSize = 128;
inline constexpr uint32_t kL840Marker = 0xFFFFFFFF;
inline constexpr size_t kL840PidSlots = 12;
// In the first product slot: the component fits every device.
inline constexpr uint16_t kL840AnyProduct = 0xFFFF;

inline constexpr size_t kL840OffHeaderSize = 0;
inline constexpr size_t kL840OffCount = 4;
inline constexpr size_t kL840OffDateTime = 8;
inline constexpr size_t kL840OffSerial = 24;
inline constexpr size_t kL840OffMarker = 40;
inline constexpr size_t kL840TextSize = 16;

inline constexpr size_t kL840OffRecordSize = 0;
inline constexpr size_t kL840OffDataLength = 4;
inline constexpr size_t kL840OffFlashAddress = 8;
inline constexpr size_t kL840OffWriteSize = 16;
inline constexpr size_t kL840OffChecksum = 20;
inline constexpr size_t kL840OffVersion = 24;
inline constexpr size_t kL840OffName = 40;
inline constexpr size_t kL840NameSize = 64;
inline constexpr size_t kL840OffPids = 104;

// The file header as read: bytes beyond the declared header size are zero.
struct L840FirmwareFileHeader {
    std::array<uint8_t, kL840FileHeaderSize> raw{};

    uint32_t headerSize() const;
    uint32_t componentCount() const;
    std::string dateTime() const;
    std::string serial() const;
    uint32_t marker() const;
};

// A component's record header as read: bytes beyond the declared size are zero.
struct L840RecordHeader {
    std::array<uint8_t, kL840RecordHeaderSize> header{};

    uint32_t headerSize() const;
    uint32_t dataLength() const;
    uint64_t flashAddress() const;
    // How many bytes the updater writes; may differ from dataLength().
    uint32_t writeSize() const;
    uint32_t checksum() const;
    std::string version() const;
    std::string name() const;
    // Slots past the table read as unused (0).
    uint16_t pid(size_t slot) const;
};

// One component with its own copy of the data.
struct L840FirmwareData : L840RecordHeader {
    std::vector<uint8_t> data;
};

// One component whose data stays in the container it was parsed from.
struct L840ComponentView : L840RecordHeader {
    ByteView data;
};

// The container parsed in place: the checks of L840FirmwareParser, in the same order and with
// the same messages, but each component's data left where it is. It borrows `data`, which must
// outlive it and every view it hands out; this is what an update uses, so that an image of tens
// of MiB is never held twice.
class L840ContainerView {
public:
    L840ContainerView(const uint8_t* data, uint32_t size);

    const L840FirmwareFileHeader& getFileHeader() const { return fileHeader_; }
    const std::vector<L840ComponentView>& components() const { return components_; }

private:
    L840FirmwareFileHeader fileHeader_;
    std::vector<L840ComponentView> components_;
};

class L840FirmwareParser {
public:
    // Parses and validates the whole container; throws mismatch_firmware_exception_ext on any
    // defect. Bytes after the last record are ignored. Each component's data is copied, so the
    // parser stands on its own once built.
    L840FirmwareParser(const uint8_t* data, uint32_t size);

    const L840FirmwareFileHeader& getFileHeader() const { return fileHeader_; }
    const std::vector<L840FirmwareData>& getFirmwareDataList() const { return firmwareDataList_; }

    // Throws mismatch_firmware_exception_ext when the data does not match its checksum.
    static void checkFirmwareData(const L840FirmwareData& firmwareData);
    // Whether the component may be flashed onto a device with product id `pid`.
    static bool isFirmwareDataAdaptable(const L840RecordHeader& firmwareData, uint16_t pid);

private:
    L840FirmwareFileHeader fileHeader_;
    std::vector<L840FirmwareData> firmwareDataList_;
};

}  // namespace libvxsensor
