// L840 containers and L840 preset files: a header, then records that each carry a byte sum and
// the product ids they fit. The records come from the library's own walker in its lenient mode,
// which goes on past a bad checksum and says where the file stops holding records, so a damaged
// file still shows all it has.
#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "common/ByteOrder.h"
#include "firmware/FirmwareMessages.h"
#include "firmware/L840FirmwareParser.h"
#include "presets/L840OptionalDepthPresetsParser.h"
#include "vxfw/InspectFile.h"

namespace vxfw::inspect {

namespace {

using namespace libvxsensor;

// Records listed one by one; the rest of a file are only counted, so that a hostile file of
// millions of tiny records costs no more than its own bytes.
constexpr uint32_t kListedRecords = 1000;

// The fields both record kinds share.
Json recordFields(uint32_t index, const L840Record& r, uint32_t missing) {
    Json c{{"index", index},
           {"flashAddress", r.flashAddress()},
           {"dataLength", r.dataLength()},
           {"writeSize", r.writeSize()},
           {"checksum", r.checksum()}};
    if (missing == 0) {
        c["computedChecksum"] = byteSum(r.data);
        c["checksumGood"] = byteSum(r.data) == r.checksum();
    } else {
        c["computedChecksum"] = nullptr;
        c["checksumGood"] = nullptr;
        c["missingBytes"] = missing;
    }
    const bool any = r.pid(0) == l840record::kAnyProduct;
    Json pids = Json::array();
    for (size_t slot = 0; !any && slot < l840record::kPidSlots; ++slot) {
        if (r.pid(slot) != 0) pids.push_back(r.pid(slot));
    }
    c["productIds"] = pids;
    c["anyProduct"] = any;
    return c;
}

template <typename Describe>
void walkRecords(const Bytes& data, uint32_t first, uint32_t count,
                 const L840RecordMessages& messages, Description& d, Describe describe) {
    const ByteView file(data.data(), data.size());
    if (first > data.size()) {
        d.notes.push_back("the header is longer than the file");
        return;
    }
    L840RecordWalker walker(file, first, count, messages, L840RecordWalker::Mode::Lenient);
    L840Record record;
    uint32_t index = 0;
    while (walker.next(record)) {
        if (++index <= kListedRecords) {
            Json c = recordFields(index, record, walker.missing());
            describe(record, c);
            d.components.push_back(std::move(c));
        }
    }
    if (index > kListedRecords) {
        d.notes.push_back(fmt::format("{} more records after the first {} are not listed",
                                      index - kListedRecords, kListedRecords));
    }
    if (walker.defect() == RecordDefect::NoHeader) {
        d.notes.push_back(fmt::format(
            "record {} of {} has no readable header at offset {} (the file holds {} bytes)",
            index + 1, count, walker.position(), data.size()));
    }
}

}  // namespace

void describeL840Container(const Bytes& data, Description& d) {
    using namespace l840container;
    const uint32_t headerSize = readLe32(data.data());
    L840FirmwareFileHeader header;
    std::copy_n(data.begin(), std::min<size_t>({headerSize, kHeaderSize, data.size()}),
                header.raw.begin());
    d.header = {{"headerSize", headerSize},
                {"componentCount", header.componentCount()},
                {"dateTime", header.dateTime()},
                {"serial", header.serial()},
                {"marker", header.marker()}};
    walkRecords(data, headerSize, header.componentCount(),
                {firmwaremsg::kParseFailed, firmwaremsg::kDataPastEnd}, d,
                [](const L840Record& r, Json& c) {
                    Json named{{"index", c["index"]}, {"name", r.name()}, {"version", r.version()}};
                    named.update(c);
                    named["isp"] = isIspAddress(r.flashAddress());
                    c = std::move(named);
                });
}

void describeL840Presets(const Bytes& data, Description& d) {
    using namespace l840presets;
    const uint32_t headerSize = readLe32(data.data());
    L840OptionalDepthPresetsFileHeader header;
    std::copy_n(data.begin(), std::min<size_t>({headerSize, kHeaderSize, data.size()}),
                header.raw.begin());
    d.header = {{"headerSize", headerSize},
                {"presetCount", header.presetCount()},
                {"productName", header.productName()},
                {"magic", header.magic()}};
    walkRecords(data, headerSize, header.presetCount(), {kMsgDamaged, kMsgDataPastEnd}, d,
                [](const L840Record&, Json&) {});
}

}  // namespace vxfw::inspect
