// readFile, vx_stricmp, date and firmware-version checks.
#include <strings.h>

#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "common/Utils.h"
#include "support/SimTest.h"

using namespace libvxsensor;

TEST(ReadFile, GivesTheWholeFileOrNothing) {
    const TempFile full("utils-full.bin", bytes(70000, 7));
    const TempFile empty("utils-empty.bin", {});
    EXPECT_EQ(readFile(full.path), bytes(70000, 7));
    EXPECT_TRUE(readFile(empty.path).empty());
    EXPECT_TRUE(readFile(::testing::TempDir() + "utils-missing.bin").empty());
    EXPECT_TRUE(readFile(::testing::TempDir()).empty()) << "a directory is not a file to read";
}

TEST(VxStricmp, IsTheCLibrarysCaseInsensitiveComparison) {
    using namespace std::string_literals;
    const std::pair<std::string, std::string> cases[] = {
        {"USB3.0", "usb3.0"},
        {"", ""},
        {"abc", "ABD"},
        {"b", "A"},
        {"ab", "ABC"},
        {"abc", "AB"},
        {"[", "a"},
        {"\xC4", "\xE4"},
        {"a\0x"s, "A\0y"s},
        {"a\0x"s, "ab"},
        {"jetson nano", "Jetson Nano"},
    };
    for (const auto& [a, b] : cases) {
        EXPECT_EQ(vx_stricmp(a, b), ::strcasecmp(a.c_str(), b.c_str())) << a << " vs " << b;
    }
}

TEST(VxIsValidDateTime, JudgesTheFirstEightCharactersAsACalendarDate) {
    const std::tuple<const char*, bool> cases[] = {
        {"20240229", true},  {"20000229", true},  {"20230229", false},  {"19000229", false},
        {"20251301", false}, {"20250400", false}, {"20250431", false},  {"20251231", true},
        {"2025040", false},  {"2025041", false},  {"2025040812", true}, {"20250101junk", true},
        {"-0010101", false}, {"20250001", false}, {"00000101", true},   {"2025 1 1", true},
    };
    for (const auto& [text, valid] : cases) {
        EXPECT_EQ(vx_isValidDateTime(text), valid) << text;
    }
    EXPECT_THROW(vx_isValidDateTime("ABCD0101"), std::invalid_argument);
    EXPECT_THROW(vx_isValidDateTime("2025xx01"), std::invalid_argument);
}

// Long digit runs are refused, never wrapped (4294967296000005 is 5 modulo 2^32), and only the
// first fifteen digits of a part count (in 1.0000000000000005.3 the sixteenth, 5, does not).
TEST(GetFirmwareVersionInt, ReadsMajorMinorPatch) {
    const std::tuple<const char*, int> cases[] = {{"1.7.16", 10716},
                                                  {"1.7", 0},
                                                  {"1", 0},
                                                  {"", 0},
                                                  {"2.10.0", 21000},
                                                  {"0.0.0", 0},
                                                  {"1.7.160", 10700},
                                                  {"1.123.4", 0},
                                                  {"1.2.3.4", 10203},
                                                  {"1.2.3.4.5", 0},
                                                  {"1.9.03", 10903},
                                                  {"1.4.41", 10441},
                                                  {"1.0.0", 10000},
                                                  {"v1.7.16", 10716},
                                                  {"1..7..16", 10716},
                                                  {"1.7.", 10700},
                                                  {"99.99.99", 999999},
                                                  {"100.0.0", 0},
                                                  {"1.", 0},
                                                  {"1.4294967296000005.1", 0},
                                                  {"1.99999999999999999999999.1", 0},
                                                  {"1.00000000000000000000000.1", 10001},
                                                  {"1.0000000000000005.3", 10003}};
    for (const auto& [text, value] : cases) {
        EXPECT_EQ(getFirmwareVersionInt(text), value) << text;
    }
}
