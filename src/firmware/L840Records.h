// The record layout that L840 firmware containers and L840 preset files share: after its file's
// header, a run of records, each a record header followed directly by its data. The one reader
// of that run is here; the formats differ only in their file headers and in the exception a bad
// checksum raises.
//
// Record header, little-endian; at most 128 bytes in the file, at least its own size field. The
// bytes a shorter header leaves out read as zero (so an omitted product list fits every device):
//   0 u32 record header size | 4 u32 data length | 8 u64 flash address (preset files use the low
//   32 bits) | 16 u32 bytes to write | 20 u32 checksum (byte sum of the data, mod 2^32)
//   24 char[16] version (containers) | 40 char[64] name (containers)
//   104 u16[12] product ids: 0xFFFF first means any product, 0 marks an unused slot
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "common/ByteView.h"

namespace libvxsensor {

namespace l840record {
inline constexpr uint32_t kMaxHeaderSize = 128;
inline constexpr uint32_t kMinHeaderSize = 4;
inline constexpr size_t kOffHeaderSize = 0;
inline constexpr size_t kOffDataLength = 4;
inline constexpr size_t kOffFlashAddress = 8;
inline constexpr size_t kOffWriteSize = 16;
inline constexpr size_t kOffChecksum = 20;
inline constexpr size_t kOffVersion = 24;
inline constexpr size_t kVersionSize = 16;
inline constexpr size_t kOffName = 40;
inline constexpr size_t kNameSize = 64;
inline constexpr size_t kOffPids = 104;
inline constexpr size_t kPidSlots = 12;
inline constexpr uint16_t kAnyProduct = 0xFFFF;
}  // namespace l840record

// One record as read, its data left in the file it came from.
struct L840Record {
    std::array<uint8_t, l840record::kMaxHeaderSize> header{};
    ByteView data;

    uint32_t headerSize() const;
    uint32_t dataLength() const;
    uint64_t flashAddress() const;
    // How many bytes the updater writes; a file may claim more than dataLength().
    uint32_t writeSize() const;
    uint32_t checksum() const;
    std::string version() const;
    std::string name() const;
    // Slots past the table read as unused (0).
    uint16_t pid(size_t slot) const;
    // Whether the record is meant for product `pid`: any product, or listed in a used slot.
    bool fits(uint16_t pid) const;
};

// The byte sum of the data, mod 2^32: what a record's checksum field holds.
uint32_t byteSum(ByteView data);

// The format's own texts for a record header that does not fit the file, and for data that run
// past its end.
struct L840RecordMessages {
    const char* damaged;
    const char* dataPastEnd;
};

// What is wrong with a record, for a walk that goes on past damage.
enum class RecordDefect {
    None,
    NoHeader,     // no record header fits at its place: the walk ends there
    DataPastEnd,  // its data run past the end of the file: the bytes present are handed out
};

// Walks `count` records from `first` in `file`, each checked against the file's bounds before a
// byte of it is read. Strict (the library): a damaged record throws
// mismatch_firmware_exception_ext with the format's message. Lenient (vxfw inspect): the walk
// reports each record's defect instead and ends at the first one. Checksums are the caller's to
// judge. Every record costs at least four bytes of file, so a lying count runs out of file
// rather than spinning.
class L840RecordWalker {
public:
    enum class Mode { Strict, Lenient };

    L840RecordWalker(ByteView file, uint32_t first, uint32_t count,
                     const L840RecordMessages& messages, Mode mode = Mode::Strict);

    // The next record, or false once `count` records were read or, leniently, after a defect.
    bool next(L840Record& record);
    // Records read so far.
    uint32_t index() const { return index_; }
    // Where the next record starts (after a defect: where the damaged one did).
    uint32_t position() const { return pos_; }
    // Lenient: the last record's defect, and the data bytes it lacks.
    RecordDefect defect() const { return defect_; }
    uint32_t missing() const { return missing_; }

private:
    bool damaged(RecordDefect defect, const char* message);

    ByteView file_;
    uint32_t pos_;
    uint32_t count_;
    uint32_t index_ = 0;
    L840RecordMessages messages_;
    Mode mode_;
    RecordDefect defect_ = RecordDefect::None;
    uint32_t missing_ = 0;
};

// Writes one record: its header (128 bytes unless cut) and its data. Every size and the checksum
// are computed; the damage knobs make files that parsers must refuse (tests, `vxfw pack`).
class L840RecordWriter {
public:
    L840RecordWriter& name(std::string v);
    L840RecordWriter& version(std::string v);
    L840RecordWriter& address(uint64_t v);
    L840RecordWriter& data(std::vector<uint8_t> v);
    // At most 12; none: any product.
    L840RecordWriter& pids(std::vector<uint16_t> v);
    // Default: the data's size.
    L840RecordWriter& writeSize(uint32_t v);
    // Damage: the declared header size (the header written is cut to it, or padded with zeros
    // beyond 128), the stored checksum off by `delta`, a declared data length other than the
    // data's.
    L840RecordWriter& headerSize(uint32_t v);
    L840RecordWriter& checksumOffBy(uint32_t delta);
    L840RecordWriter& claimedLength(uint32_t v);

    void appendTo(std::vector<uint8_t>& file) const;

private:
    std::string name_ = "main";
    std::string version_ = "1.7.16";
    uint64_t address_ = 0;
    std::vector<uint8_t> data_ = std::vector<uint8_t>(4, 0x5A);
    std::vector<uint16_t> pids_;
    std::optional<uint32_t> writeSize_;
    uint32_t headerSize_ = l840record::kMaxHeaderSize;
    uint32_t checksumDelta_ = 0;
    std::optional<uint32_t> claimedLength_;
};

// A run of records already checked whole, walked again on demand: what a parser hands out
// instead of a list, so a file of a million tiny records costs no more memory than its bytes.
// With `onlyFitting`, only the records that fit that product are visited.
class L840Records {
public:
    class iterator {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = L840Record;
        using difference_type = std::ptrdiff_t;
        using pointer = const L840Record*;
        using reference = const L840Record&;

        const L840Record& operator*() const { return record_; }
        const L840Record* operator->() const { return &record_; }
        iterator& operator++();
        bool operator==(const iterator& other) const { return visited_ == other.visited_; }
        bool operator!=(const iterator& other) const { return !(*this == other); }

    private:
        friend class L840Records;
        iterator(const L840Records& records, uint32_t visited);
        void advance();

        const L840Records* records_;
        L840RecordWalker walker_;
        uint32_t visited_;
        L840Record record_;
    };

    L840Records() = default;
    // `size` is how many of the `count` records are visited (all, or those that fit).
    L840Records(ByteView file, uint32_t first, uint32_t count, uint32_t size,
                const L840RecordMessages& messages, bool filter = false, uint16_t onlyFitting = 0);

    iterator begin() const { return iterator(*this, 0); }
    iterator end() const { return iterator(*this, size_); }
    uint32_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

private:
    ByteView file_;
    uint32_t first_ = 0;
    uint32_t count_ = 0;
    uint32_t size_ = 0;
    L840RecordMessages messages_{"", ""};
    bool filter_ = false;
    uint16_t onlyFitting_ = 0;
};

}  // namespace libvxsensor
