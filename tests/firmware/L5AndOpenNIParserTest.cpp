// The L5 and OpenNI image parsers: what they refuse, with which text, and where each accepted
// size goes in flash.
#include "firmware/L5FirmwareParser.h"
#include "firmware/OpenNIFirmwareParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "common/VxExceptionExt.h"
#include "firmware/L5FirmwareParser.h"

using namespace libvxsensor;

namespace {

// "" when `make` does not throw, the mismatch text when it does.
template <typename Make>
std::string refusal(Make make) {
    try {
        make();
        return "";
    } catch (const mismatch_firmware_exception_ext& e) {
        return e.what();
    }
}

uint32_t l5Address(const std::vector<uint8_t>& file) {
    return L5FirmwareParser(file.data(), static_cast<uint32_t>(file.size())).getWriteAddress();
}

}  // namespace

TEST(L5FirmwareParserTest, Refusals) {
    std::vector<uint8_t> magicAtStart = L5ImageWriter().magic(0).write();
    const uint8_t magic[] = {0xDC, 0xCD, 0x5A, 0xA5};
    std::copy(std::begin(magic), std::end(magic), magicAtStart.begin());
    const struct {
        std::vector<uint8_t> file;
        std::string message;
    } cases[] = {
        {{}, "Invalid input file: too small"},
        {L5ImageWriter().size(100).truncateTo(99).write(), "Invalid input file: too small"},
        {L5ImageWriter().magic(0xA55ACDDD).write(), "Invalid input file: invalid magic"},
        {magicAtStart, "Invalid input file: invalid magic"},
        // The trailer is the last 100 bytes, wherever the file was cut.
        {L5ImageWriter().truncateTo(1499).write(), "Invalid input file: invalid magic"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file.size());
        EXPECT_EQ(
            refusal([&] { L5FirmwareParser(c.file.data(), static_cast<uint32_t>(c.file.size())); }),
            c.message);
    }
    EXPECT_EQ(refusal([] { L5FirmwareParser(nullptr, 4096); }), "Invalid input file: too small");
}

TEST(L5FirmwareParserTest, WriteAddressBySize) {
    const struct {
        uint32_t size;
        uint32_t address;
    } cases[] = {{100, 0},           {0x10000, 0},       {0x60000, 0},      {0xA0000, 0},
                 {0x50000, 0x10000}, {0x30000, 0x20000}, {0x40000, 0x20000}};
    for (const auto& c : cases) {
        EXPECT_EQ(l5Address(L5ImageWriter().size(c.size).write()), c.address) << std::hex << c.size;
    }
    for (const uint32_t size : {0x10001u, 0x50001u, 0x5FFFFu, 0x20000u}) {
        const std::vector<uint8_t> file = L5ImageWriter().size(size).write();
        const L5FirmwareParser parser(file.data(), size);  // accepted until the address is asked
        EXPECT_EQ(refusal([&] { parser.getWriteAddress(); }), "Invalid input file: invalid size")
            << std::hex << size;
    }
}

TEST(OpenNIFirmwareParserTest, ImagesEndAt256KiB) {
    const struct {
        uint32_t size;
        uint32_t address;
    } cases[] = {{0x40000, 0}, {0x30000, 0x10000}, {0x20000, 0x20000}};
    for (const auto& c : cases) {
        const std::vector<uint8_t> image(c.size, 0x3C);
        const OpenNIFirmwareParser parser(image.data(), c.size);
        EXPECT_EQ(parser.getWriteAddress(), c.address) << std::hex << c.size;
        EXPECT_EQ(parser.getFirmwareData(), image);
        EXPECT_EQ(parser.image().data(), image.data()) << "the image is borrowed, not copied";
    }
    for (const uint32_t size : {0u, 0x1FFFFu, 0x30001u, 0x40001u, 0x50000u}) {
        const std::vector<uint8_t> image(size, 0x3C);
        EXPECT_EQ(refusal([&] { OpenNIFirmwareParser(image.data(), size); }),
                  "Invalid input file: Invalid firmware size.")
            << std::hex << size;
    }
    EXPECT_EQ(refusal([] { OpenNIFirmwareParser(nullptr, 0x20000); }),
              "Invalid input file: Invalid firmware size.");
}
