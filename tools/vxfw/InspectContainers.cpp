// L840 containers and L840 preset files: a header, then records that each carry a byte sum and
// the product ids they fit. The records are read here from the raw bytes, bounds-checked, because
// the library's parsers stop at the first bad checksum and a damaged file should still show all.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <set>
#include <string>

#include <fmt/format.h>

#include "DevicePidAndMap.h"
#include "common/ByteOrder.h"
#include "common/Utils.h"
#include "firmware/L840FirmwareParser.h"
#include "presets/L840OptionalDepthPresetsParser.h"
#include "vxfw/InspectFile.h"

namespace vxfw::inspect {

namespace {

using libvxsensor::readLe32;

// Both formats cap a record header at 128 bytes.
using RecordHeader = std::array<uint8_t, libvxsensor::l840record::kMaxHeaderSize>;

struct Record {
    RecordHeader header{};  // bytes past the declared size read as zero, as in the parsers
    const uint8_t* data = nullptr;
    uint32_t available = 0;  // data bytes present in the file
    uint32_t missing = 0;    // declared data bytes past the end of the file
};

// Records listed one by one; the rest of a file are only counted, so that a hostile file of
// millions of tiny records costs no more than its own bytes.
constexpr uint32_t kListedRecords = 1000;

// The parsers' walk, minus the checksum stop. Ends where the bytes no longer hold a record;
// every record costs at least 4 bytes, so a lying count cannot keep it going.
template <typename Describe>
void walkRecords(const Bytes& data, uint32_t pos, uint32_t count, Description& d,
                 Describe describe) {
    const auto size = static_cast<uint32_t>(data.size());
    if (pos > size) {
        d.notes.push_back("the header is longer than the file");
        return;
    }
    uint32_t unlisted = 0;
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t recordSize = size - pos < 4 ? 0 : readLe32(data.data() + pos);
        if (recordSize < 4 || recordSize > libvxsensor::l840record::kMaxHeaderSize ||
            recordSize > size - pos) {
            d.notes.push_back(fmt::format(
                "record {} of {} has no readable header at offset {} (the file holds {} bytes)",
                i + 1, count, pos, size));
            break;
        }
        Record r;
        std::memcpy(r.header.data(), data.data() + pos, recordSize);
        pos += recordSize;
        const uint32_t length = readLe32(r.header.data() + libvxsensor::l840record::kOffDataLength);
        r.data = data.data() + pos;
        r.available = std::min(length, size - pos);
        r.missing = length - r.available;
        if (i < kListedRecords) {
            d.components.push_back(describe(i + 1, r));
        } else {
            ++unlisted;
        }
        if (r.missing != 0) break;
        pos += length;
    }
    if (unlisted != 0) {
        d.notes.push_back(fmt::format("{} more records after the first {} are not listed", unlisted,
                                      kListedRecords));
    }
}

void addProduct(Description& d, uint16_t pid) {
    const bool known = std::any_of(d.products.begin(), d.products.end(),
                                   [pid](const Json& p) { return p["pid"] == pid; });
    if (!known) d.products.push_back(product(pid));
}

// The fields both record kinds share; `Fields` is the library's view of the record header.
template <typename Fields>
Json dataFields(const Record& r, Description& d) {
    Fields f;
    f.header = r.header;
    Json c{{"flashAddress", f.flashAddress()},
           {"dataLength", f.dataLength()},
           {"writeSize", f.writeSize()},
           {"checksum", f.checksum()}};
    if (r.missing == 0) {
        uint32_t sum = 0;
        for (uint32_t i = 0; i < r.available; ++i) sum += r.data[i];
        c["computedChecksum"] = sum;
        c["checksumGood"] = sum == f.checksum();
    } else {
        c["computedChecksum"] = nullptr;
        c["checksumGood"] = nullptr;
        c["missingBytes"] = r.missing;
    }
    // The parsers turn an empty first slot into "any product".
    const bool any = f.pid(0) == 0 || f.pid(0) == libvxsensor::l840record::kAnyProduct;
    Json pids = Json::array();
    for (size_t slot = 0; !any && slot < libvxsensor::l840record::kPidSlots; ++slot) {
        if (f.pid(slot) == 0) continue;
        pids.push_back(f.pid(slot));
        addProduct(d, f.pid(slot));
    }
    c["productIds"] = pids;
    c["anyProduct"] = any;
    d.anyProduct = d.anyProduct || any;
    return c;
}

bool fitsProduct(const Json& component, uint16_t pid) {
    const Json& pids = component["productIds"];
    return component["anyProduct"] == true ||
           std::find(pids.begin(), pids.end(), pid) != pids.end();
}

Json describeComponent(uint32_t index, const Record& r, Description& d) {
    libvxsensor::L840FirmwareData f;
    f.header = r.header;
    Json c{{"index", index}, {"name", f.name()}, {"version", f.version()}};
    c.update(dataFields<libvxsensor::L840FirmwareData>(r, d));
    // The updater writes these with a checksum only, and skips them when the camera already runs
    // the same ISP version.
    const uint64_t address = f.flashAddress();
    c["isp"] = address == 0x500000 || address == 0x580000 || address == 0x5D0000;
    return c;
}

Json describePresetRecord(uint32_t index, const Record& r, Description& d,
                          std::map<uint32_t, uint32_t>& firstWithChecksum) {
    Json c{{"index", index}};
    c.update(dataFields<libvxsensor::L840OptionalDepthPresetsData>(r, d));
    const uint32_t first =
        firstWithChecksum.emplace(c["checksum"].get<uint32_t>(), index).first->second;
    c["duplicateOf"] = first == index ? Json(nullptr) : Json(first);
    if (first != index) {
        // The preset updater judges repeats by checksum alone.
        d.notes.push_back(fmt::format(
            "records {} and {} carry the same checksum: a camera that takes both drops the file "
            "as a repeat",
            first, index));
    }
    return c;
}

void describeContainerFit(const libvxsensor::L840FirmwareFileHeader& header, Description& d) {
    using namespace libvxsensor;
    struct Line {
        const char* family;
        const std::set<std::string>& serials;
    };
    const Line lines[] = {{"L840 series", L840ValidFwSerials},
                          {"KovraA", KovraAValidFwSerials},
                          {"L815", L815ValidFwSerials}};
    const std::string serial = header.serial();
    for (const Line& line : lines) {
        if (line.serials.count(serial) != 0) {
            d.header["firmwareLine"] = line.family;
            d.families.push_back(line.family);
        } else {
            d.notes.push_back(
                fmt::format("{} cameras refuse it: \"Firmware mismatch for <camera> : "
                            "unmatched serial {}\"",
                            line.family, serial));
        }
    }
    const std::string date = header.dateTime();
    try {
        // Cameras of this model take no firmware built before this date.
        if (vx_isValidDateTime(date) && date.compare(0, 8, "20250408") < 0) {
            d.notes.push_back(
                "L845Se cameras refuse it: \"The current firmware is invalid, dateTime: " + date +
                "\"");
        } else {
            d.families.push_back("L845Se");
        }
    } catch (const std::exception& e) {
        d.notes.push_back(std::string("L845Se cameras fail on its date text: ") + e.what());
    }
    constexpr uint16_t kL5ProPid = 0x0671;
    const Json& parts = d.components;
    if (!parts.empty() && std::all_of(parts.begin(), parts.end(),
                                      [](const Json& c) { return fitsProduct(c, kL5ProPid); })) {
        d.families.push_back("L5Pro");
    } else {
        d.notes.push_back(
            "L5Pro cameras report \"Update failed!\\nIncompatible firmware file for "
            "current device!\": the file has no component or one that does not fit product 0x0671");
    }
    d.families.push_back("L945Se");
    d.notes.push_back(
        "L840-series, KovraA, L845Se and L945Se models are known only through the "
        "device-group tables that the application fills at run time; their product "
        "ids have no name here");
}

}  // namespace

void describeL840Container(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    const auto size = static_cast<uint32_t>(data.size());
    d.runLibrary([&] { L840FirmwareParser parser(data.data(), size); });
    // Detection made sure of 44 bytes and a header size of at most 128.
    const uint32_t headerSize = readLe32(data.data());
    L840FirmwareFileHeader header;
    std::memcpy(header.raw.data(), data.data(),
                std::min({headerSize, l840container::kHeaderSize, size}));
    d.header = {{"headerSize", headerSize},      {"componentCount", header.componentCount()},
                {"dateTime", header.dateTime()}, {"serial", header.serial()},
                {"firmwareLine", nullptr},       {"marker", header.marker()}};
    walkRecords(data, headerSize, header.componentCount(), d,
                [&d](uint32_t index, const Record& r) { return describeComponent(index, r, d); });
    if (header.componentCount() == 0) d.refuse(kNothingToWrite);
    describeContainerFit(header, d);
}

void describeL840Presets(const Bytes& data, Description& d) {
    using namespace libvxsensor;
    const auto size = static_cast<uint32_t>(data.size());
    // Product 0 keeps no record, but every defect is found whatever the product.
    d.runLibrary([&] { L840OptionalDepthPresetsParser parser(data.data(), size, 0); });
    const uint32_t headerSize = readLe32(data.data());
    L840OptionalDepthPresetsFileHeader header;
    std::memcpy(header.raw.data(), data.data(),
                std::min({headerSize, static_cast<uint32_t>(header.raw.size()), size}));
    const std::string name = header.productName();
    const bool knownName =
        L840ValidPresetProduct.count(name) != 0 || L815ValidFwSerials.count(name) != 0;
    if (!knownName) d.refuse("Preset data product mismatch: " + name);
    d.header = {{"headerSize", headerSize},
                {"presetCount", header.presetCount()},
                {"productName", name},
                {"magic", header.magic()}};
    std::map<uint32_t, uint32_t> firstWithChecksum;
    walkRecords(data, headerSize, header.presetCount(), d, [&](uint32_t index, const Record& r) {
        return describePresetRecord(index, r, d, firstWithChecksum);
    });
    if (knownName) d.families = {"L840 series", "KovraA", "L815"};
    d.notes.push_back(
        "cameras need firmware 1.4.41 or later (L840 series), 1.9.03 (KovraA) or 1.0.0 (L815) to "
        "take presets; an update takes one to three files");
    d.notes.push_back(
        "L840-series and KovraA models are known only through the device-group tables that the "
        "application fills at run time");
}

}  // namespace vxfw::inspect
