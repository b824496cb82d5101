// The L5 and OpenNI image parsers: which files they refuse (RefusalsTest pins each refusal's
// text), where each accepted size goes in flash, and the image as the writer made it.
#include "firmware/L5FirmwareParser.h"
#include "firmware/OpenNIFirmwareParser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <tuple>

#include "common/VxExceptionExt.h"

using namespace libvxsensor;

namespace {

template <typename Make>
bool refused(Make make) {
    try {
        make();
        return false;
    } catch (const mismatch_firmware_exception_ext&) {
        return true;
    }
}

bool l5Refused(const std::vector<uint8_t>& file) {
    return refused([&] { L5FirmwareParser(file.data(), static_cast<uint32_t>(file.size())); });
}

}  // namespace

TEST(L5FirmwareParserTest, TheTrailerIsTheLast100Bytes) {
    std::vector<uint8_t> magicAtStart = L5ImageWriter().magic(0).write();
    const uint8_t magic[] = {0xDC, 0xCD, 0x5A, 0xA5};
    std::copy(std::begin(magic), std::end(magic), magicAtStart.begin());
    EXPECT_TRUE(l5Refused({}));
    EXPECT_TRUE(l5Refused(L5ImageWriter().size(100).truncateTo(99).write()));
    EXPECT_TRUE(l5Refused(L5ImageWriter().magic(0xA55ACDDD).write()));
    EXPECT_TRUE(l5Refused(magicAtStart));
    EXPECT_TRUE(l5Refused(L5ImageWriter().truncateTo(1499).write())) << "wherever the file was cut";
    EXPECT_TRUE(refused([] { L5FirmwareParser(nullptr, 4096); }));

    const auto file = L5ImageWriter().pid(0x0673).body({1, 2, 3}).size(0x10000).write();
    const L5FirmwareParser parser(file.data(), static_cast<uint32_t>(file.size()));
    EXPECT_TRUE(parser.isFirmwareAdaptable(0x0673));
    EXPECT_FALSE(parser.isFirmwareAdaptable(0x0670));
    EXPECT_EQ(parser.image().data(), file.data()) << "the image is borrowed, not copied";
    EXPECT_EQ(std::vector<uint8_t>(file.begin(), file.begin() + 4),
              (std::vector<uint8_t>{1, 2, 3, 0xFF}))
        << "the body is padded as erased flash reads";
    EXPECT_EQ(parser.getFileInfo(), file.data() + 0x10000 - 100);
}

TEST(L5FirmwareParserTest, WriteAddressBySize) {
    const std::tuple<uint32_t, uint32_t> cases[] = {
        {100, 0},           {0x10000, 0},       {0x60000, 0},      {0xA0000, 0},
        {0x50000, 0x10000}, {0x30000, 0x20000}, {0x40000, 0x20000}};
    for (const auto& [size, address] : cases) {
        const std::vector<uint8_t> file = L5ImageWriter().size(size).write();
        EXPECT_EQ(L5FirmwareParser(file.data(), size).getWriteAddress(), address)
            << std::hex << size;
    }
    for (const uint32_t size : {0x50001u, 0x5FFFFu, 0x20000u}) {
        const std::vector<uint8_t> file = L5ImageWriter().size(size).write();
        const L5FirmwareParser parser(file.data(), size);  // accepted until the address is asked
        EXPECT_TRUE(refused([&] { parser.getWriteAddress(); })) << std::hex << size;
    }
}

TEST(OpenNIFirmwareParserTest, ImagesEndAt256KiB) {
    const std::tuple<uint32_t, uint32_t> cases[] = {
        {0x40000, 0}, {0x30000, 0x10000}, {0x20000, 0x20000}};
    for (const auto& [size, address] : cases) {
        const std::vector<uint8_t> image(size, 0x3C);
        const OpenNIFirmwareParser parser(image.data(), size);
        EXPECT_EQ(parser.getWriteAddress(), address) << std::hex << size;
        EXPECT_EQ(parser.getFirmwareData(), image);
        EXPECT_EQ(parser.image().data(), image.data()) << "the image is borrowed, not copied";
    }
    for (const uint32_t size : {0u, 0x1FFFFu, 0x40001u, 0x50000u}) {
        const std::vector<uint8_t> image(size, 0x3C);
        EXPECT_TRUE(refused([&] { OpenNIFirmwareParser(image.data(), size); })) << std::hex << size;
    }
    EXPECT_TRUE(refused([] { OpenNIFirmwareParser(nullptr, 0x20000); }));
}
