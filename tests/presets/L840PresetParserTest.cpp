// Preset-file parsing: each kind of damage once, and product fit (fuzz/l840_presets covers
// arbitrary input).
#include "presets/L840OptionalDepthPresetsParser.h"

#include <stdexcept>

#include "common/VxExceptionExt.h"
#include "firmware/FirmwareMessages.h"
#include "presets/L840OptionalDepthPresetsParser.h"
#include "support/SimTest.h"

using namespace libvxsensor;

namespace {
using l840presets::kMsgDamaged;  // RefusalsTest pins the text
const char* const kPastEnd = l840presets::kMsgDataPastEnd;

// The message of the mismatch a file is refused with, or "" when it parses.
std::string refusal(const std::vector<uint8_t>& file, uint16_t pid = 0x0800) {
    try {
        L840OptionalDepthPresetsParser parser(file.data(), static_cast<uint32_t>(file.size()), pid);
        return "";
    } catch (const mismatch_firmware_exception_ext& e) {
        return e.what();
    }
}
}  // namespace

class L840PresetParserTest : public SimTest {};

TEST_F(L840PresetParserTest, DamagedFiles) {
    const L840RecordWriter record;
    EXPECT_EQ(refusal({1, 2, 3}), kMsgDamaged);
    EXPECT_EQ(refusal(L840PresetFileWriter().headerSize(129).record(record).write()), kMsgDamaged);
    EXPECT_EQ(refusal(L840PresetFileWriter().headerSize(128).record(record).write()), "");
    EXPECT_EQ(refusal(L840PresetFileWriter().count(0).record(record).write()), kMsgDamaged);
    EXPECT_EQ(refusal(L840PresetFileWriter().magic(0x74737271).record(record).write()),
              kMsgDamaged);
    EXPECT_EQ(refusal(L840PresetFileWriter().headerSize(40).record(record).write()), kMsgDamaged)
        << "magic not covered";
    EXPECT_EQ(refusal(L840PresetFileWriter().record(record).truncateTo(64 + 100).write()),
              kMsgDamaged)
        << "record header past the end";
    EXPECT_EQ(refusal(L840PresetFileWriter().record(L840RecordWriter().claimedLength(65)).write()),
              kPastEnd);
    EXPECT_EQ(refusal(L840PresetFileWriter().count(3).record(record).write()), kMsgDamaged)
        << "count beyond the records";
    EXPECT_EQ(refusal(L840PresetFileWriter()
                          .count(0xFFFFFFFF)
                          .record(L840RecordWriter().headerSize(0))
                          .write()),
              kMsgDamaged);
}

TEST_F(L840PresetParserTest, ChecksumIsVerifiedEvenForRecordsThatWouldBeDropped) {
    const auto file = L840PresetFileWriter()
                          .record(L840RecordWriter().pids({0x0800}))
                          .record(L840RecordWriter().pids({0x0999}).checksumOffBy(1))
                          .write();
    try {
        L840OptionalDepthPresetsParser(file.data(), static_cast<uint32_t>(file.size()), 0x0800);
        FAIL() << "accepted";
    } catch (const mismatch_firmware_exception_ext&) {
        FAIL() << "a checksum mismatch is a plain runtime error";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), firmwaremsg::kChecksumMismatch);
    }
}

TEST_F(L840PresetParserTest, OnlyRecordsThatFitTheDeviceAreKept) {
    const auto file =
        L840PresetFileWriter()
            .record(L840RecordWriter().address(0x10).pids({}))  // fits all
            .record(
                L840RecordWriter().address(0x20).pids({0x0800, 0, 0x0803}))  // gaps are looked past
            .record(L840RecordWriter().address(0x30).pids({0x0801}))
            .record(L840RecordWriter().address(0x40).headerSize(104))  // no pid slots at all
            .write();
    const L840OptionalDepthPresetsParser parser(file.data(), static_cast<uint32_t>(file.size()),
                                                0x0803);
    std::vector<uint64_t> kept;
    for (const auto& r : parser.getDataList()) kept.push_back(r.flashAddress());
    EXPECT_EQ(kept, (std::vector<uint64_t>{0x10, 0x20, 0x40}));
    EXPECT_EQ(parser.getDataList().size(), 3u);
    EXPECT_EQ(parser.getFileHeader().productName(), "Lumex 800");
}
