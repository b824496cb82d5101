// The MiroMax package checks, the header values the updater relies on, and the file-mode
// constructor that refuses every file.
#include "firmware/MiroMaxFirmwareParser.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "builders/MiroMaxPackage.h"
#include "common/VxExceptionExt.h"

using namespace libvxsensor;

namespace {

const std::string kParseFailed =
    "2: Parse firmware data failed!\nInvalid input data or data has been damaged";

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
    struct Case {
        const char* what;
        std::vector<uint8_t> package;
        std::string expected;
    };
    const Case cases[] = {
        {"header only", MiroMaxPackage().payload({}).build(), kParseFailed},
        {"one payload byte", MiroMaxPackage().payload({7}).build(), "accepted"},
        {"empty", {}, kParseFailed},
        {"cut inside the header", MiroMaxPackage().truncateTo(100).build(), kParseFailed},
        {"wrong magic", MiroMaxPackage().magic("QZTX").build(), kParseFailed},
        {"platform in other case", MiroMaxPackage().platform("JETSON Nano").build(), "accepted"},
        {"longer platform", MiroMaxPackage().platform("jetson nano2").build(), kParseFailed},
        {"shorter platform", MiroMaxPackage().platform("jetson").build(), kParseFailed},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(parse(c.package), c.expected) << c.what;
    }
}

TEST(MiroMaxFirmwareParserTest, ProductNameKeepsFifteenCharactersAndTypeIsLittleEndian) {
    const auto package =
        MiroMaxPackage().productName("ABCDEFGHIJKLMNOP").firmwareType(0x01020304).build();
    MiroMaxFirmwareParser parser(package);
    EXPECT_EQ(parser.getFileHeader().productName, "ABCDEFGHIJKLMNO");
    EXPECT_EQ(parser.getFileHeader().firmwareType, 0x01020304u);
}

TEST(MiroMaxFirmwareParserTest, FileModeRefusesMissingAndPresentFiles) {
    EXPECT_EQ(parse(std::string("/no/such/package.bin")), "0: Failed to read firmware file!");
    const std::string path = ::testing::TempDir() + "miromax-package.bin";
    const auto package = MiroMaxPackage().build();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(package.data()),
               static_cast<std::streamsize>(package.size()));
    EXPECT_EQ(parse(path), kParseFailed) << "a valid package is refused from a file too";
    std::remove(path.c_str());
}
