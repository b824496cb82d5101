// The MiroMax package checks, the header values the updater relies on, and the file-mode
// constructor that refuses every file.
#include "firmware/MiroMaxFirmwareParser.h"

#include <gtest/gtest.h>

#include <tuple>

#include "common/VxExceptionExt.h"
#include "firmware/FirmwareMessages.h"
#include "support/SimTest.h"

using namespace libvxsensor;

namespace {

// Of type 2, mismatch; RefusalsTest pins the text.
const std::string kParseFailed = std::string("2: ") + firmwaremsg::kParseFailed;

// "accepted", or "<exception type>: <message>" of the refusal.
template <typename Source>
std::string parse(const Source& source) {
    try {
        MiroMaxFirmwareParser parser(source);
        return "accepted";
    } catch (const libvxsensor_exception_ext& e) {
        return std::to_string(e.type()) + ": " + e.what();
    }
}

}  // namespace

TEST(MiroMaxFirmwareParserTest, PackageChecks) {
    const std::tuple<const char*, std::vector<uint8_t>, std::string> cases[] = {
        {"header only", MiroMaxPackageWriter().payload({}).write(), kParseFailed},
        {"one payload byte", MiroMaxPackageWriter().payload({7}).write(), "accepted"},
        {"empty", {}, kParseFailed},
        {"cut inside the header", MiroMaxPackageWriter().truncateTo(100).write(), kParseFailed},
        {"wrong magic", MiroMaxPackageWriter().magic("QZTX").write(), kParseFailed},
        {"platform in other case", MiroMaxPackageWriter().platform("JETSON Nano").write(),
         "accepted"},
        {"longer platform", MiroMaxPackageWriter().platform("jetson nano2").write(), kParseFailed},
        {"shorter platform", MiroMaxPackageWriter().platform("jetson").write(), kParseFailed},
    };
    for (const auto& [what, package, expected] : cases) {
        EXPECT_EQ(parse(package), expected) << what;
    }
}

TEST(MiroMaxFirmwareParserTest, ProductNameKeepsFifteenCharactersAndTypeIsLittleEndian) {
    const auto package =
        MiroMaxPackageWriter().productName("ABCDEFGHIJKLMNOP").firmwareType(0x01020304).write();
    MiroMaxFirmwareParser parser(package);
    EXPECT_EQ(parser.getFileHeader().productName, "ABCDEFGHIJKLMNO");
    EXPECT_EQ(parser.getFileHeader().firmwareType, 0x01020304u);
}

TEST(MiroMaxFirmwareParserTest, FileModeRefusesMissingAndPresentFiles) {
    EXPECT_EQ(parse(std::string("/no/such/package.bin")), "0: Failed to read firmware file!");
    const TempFile file("miromax-package.bin", MiroMaxPackageWriter().write());
    EXPECT_EQ(parse(file.path), kParseFailed) << "a valid package is refused from a file too";
}
