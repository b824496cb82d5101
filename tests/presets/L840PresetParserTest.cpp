// Preset-file parsing: each kind of damage once, and product fit (fuzz/l840_presets covers
// arbitrary input).
#include "presets/L840OptionalDepthPresetsParser.h"

#include <stdexcept>

#include "builders/PresetFile.h"
#include "common/VxExceptionExt.h"
#include "support/SimTest.h"

using namespace libvxsensor;

namespace {
const char* kDamaged = "Parse preset data failed!\nInvalid input data or data has been damaged";
const char* kPastEnd = "Parse preset data failed\nInvalid input data or data has been damaged";

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
    const PresetRecord record;
    EXPECT_EQ(refusal({1, 2, 3}), kDamaged);
    EXPECT_EQ(refusal(PresetFile().headerSize(129).record(record).build()), kDamaged);
    EXPECT_EQ(refusal(PresetFile().headerSize(128).record(record).build()), "");
    EXPECT_EQ(refusal(PresetFile().count(0).record(record).build()), kDamaged);
    EXPECT_EQ(refusal(PresetFile().magic(0x74737271).record(record).build()), kDamaged);
    EXPECT_EQ(refusal(PresetFile().headerSize(40).record(record).build()), kDamaged)
        << "magic not covered";
    EXPECT_EQ(refusal(PresetFile().record(record).truncateTo(64 + 100).build()), kDamaged)
        << "record header past the end";
    EXPECT_EQ(refusal(PresetFile().record(PresetRecord().claimedLength(65)).build()), kPastEnd);
    EXPECT_EQ(refusal(PresetFile().count(3).record(record).build()), kDamaged)
        << "count beyond the records";
    EXPECT_EQ(refusal(PresetFile().count(0xFFFFFFFF).record(PresetRecord().headerSize(0)).build()),
              kDamaged);
}

TEST_F(L840PresetParserTest, ChecksumIsVerifiedEvenForRecordsThatWouldBeDropped) {
    const auto file = PresetFile()
                          .record(PresetRecord().pids({0x0800}))
                          .record(PresetRecord().pids({0x0999}).checksumOffBy(1))
                          .build();
    try {
        L840OptionalDepthPresetsParser(file.data(), static_cast<uint32_t>(file.size()), 0x0800);
        FAIL() << "accepted";
    } catch (const mismatch_firmware_exception_ext&) {
        FAIL() << "a checksum mismatch is a plain runtime error";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Checksum mismatch!\nInvalid input file or file has been damaged");
    }
}

TEST_F(L840PresetParserTest, OnlyRecordsThatFitTheDeviceAreKept) {
    const auto file =
        PresetFile()
            .record(PresetRecord().address(0x10).pids({}))                   // fits all
            .record(PresetRecord().address(0x20).pids({0x0800, 0, 0x0803}))  // gaps are looked past
            .record(PresetRecord().address(0x30).pids({0x0801}))
            .record(PresetRecord().address(0x40).headerSize(104))  // no pid slots at all
            .build();
    const L840OptionalDepthPresetsParser parser(file.data(), static_cast<uint32_t>(file.size()),
                                                0x0803);
    std::vector<uint64_t> kept;
    for (const auto& r : parser.getDataList()) kept.push_back(r.flashAddress());
    EXPECT_EQ(kept, (std::vector<uint64_t>{0x10, 0x20, 0x40}));
    EXPECT_EQ(parser.getDataList().size(), 3u);
    EXPECT_EQ(parser.getFileHeader().productName(), "Lumex 800");
}
