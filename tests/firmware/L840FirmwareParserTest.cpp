// L840 containers: damage is refused with the message for its kind (whose text RefusalsTest pins),
// and valid containers come back field for field (fuzz/l840_container covers arbitrary input).
#include "firmware/L840FirmwareParser.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "common/VxExceptionExt.h"
#include "firmware/FirmwareMessages.h"
#include "support/SimTest.h"

using namespace libvxsensor;

namespace {

// The parser borrows the file: it must outlive it.
L840FirmwareParser parse(const std::vector<uint8_t>& file) {
    return L840FirmwareParser(file.data(), static_cast<uint32_t>(file.size()));
}

std::vector<L840FirmwareData> components(const L840FirmwareParser& parser) {
    const L840Records& list = parser.getFirmwareDataList();
    return {list.begin(), list.end()};
}

}  // namespace

class L840FirmwareParserTest : public SimTest {};

TEST_F(L840FirmwareParserTest, DamagedContainersAreRefusedWithTheirMessage) {
    const std::string header = firmwaremsg::kParseFailed;
    const std::string data = firmwaremsg::kDataPastEnd;
    const std::string sum = firmwaremsg::kChecksumMismatch;
    using C = L840ContainerWriter;
    using R = L840RecordWriter;
    const R big = R().data(bytes(4096, 1));
    const std::tuple<const char*, std::vector<uint8_t>, const std::string&> cases[] = {
        {"3-byte file", {64, 0, 0}, header},
        {"header size 129", C().headerSize(129).component(big).write(), header},
        {"marker wrong", C().marker(0xFFFFFFFE).write(), header},
        {"record header past end", C().component(R()).truncateTo(64 + 127).write(), header},
        {"record header 129", C().component(R().headerSize(129)).write(), header},
        // A lying count must end where the file does, not reserve or loop on it.
        {"count beyond the records", C().component(R()).count(0xFFFFFFFF).write(), header},
        {"empty records, huge count", C().count(0xFFFFFFFF).trailing({0, 0, 0, 0}).write(), header},
        {"data one byte past end", C().component(R().claimedLength(5)).write(), data},
        {"data length near 4 GiB", C().component(R().claimedLength(0xFFFFFFF0)).write(), data},
        // Every component's checksum, the last one's too.
        {"last checksum off",
         C().component(big).component(R(big).checksumOffBy(0x80000000)).write(), sum},
    };
    for (const auto& [what, file, message] : cases) {
        EXPECT_THAT(
            [&f = file] { parse(f); },
            ::testing::ThrowsMessage<mismatch_firmware_exception_ext>(::testing::StrEq(message)))
            << what;
    }
}

TEST_F(L840FirmwareParserTest, ProductIdsDecideWhichDevicesAComponentFits) {
    using Pids = std::vector<uint16_t>;
    const std::tuple<Pids, Pids, Pids> cases[] = {
        {{}, {0x0800, 0x0001, 0xFFFF}, {}},
        {{0x0800}, {0x0800}, {0x0801, 0x0000, 0xFFFF}},
        {{0x0800, 0, 0x0803}, {0x0800, 0x0803}, {0x0801, 0}},
        {{0x0800, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x0805}, {0x0805}, {0x0801}},
    };
    for (const auto& [slots, fits, refuses] : cases) {
        const auto file = L840ContainerWriter().component(L840RecordWriter().pids(slots)).write();
        const L840FirmwareData fw = components(parse(file)).at(0);
        for (uint16_t pid : fits)
            EXPECT_TRUE(L840FirmwareParser::isFirmwareDataAdaptable(fw, pid)) << pid;
        for (uint16_t pid : refuses)
            EXPECT_FALSE(L840FirmwareParser::isFirmwareDataAdaptable(fw, pid)) << pid;
    }
    // A record header cut before the ids: the rest of the area reads as zero, not as the data
    // that follows, and the empty id table fits every device.
    const auto file =
        L840ContainerWriter().component(L840RecordWriter().headerSize(104).pids({1, 2})).write();
    const L840FirmwareData fw = components(parse(file)).at(0);
    EXPECT_EQ(fw.pid(0), l840record::kAnyProduct);
    EXPECT_EQ(fw.pid(1), 0u);
    EXPECT_EQ(fw.name(), "main");
}

TEST_F(L840FirmwareParserTest, HeaderAndComponentsComeBackAsWritten) {
    const auto empty = L840ContainerWriter().trailing(bytes(9, 3)).write();
    EXPECT_TRUE(parse(empty).getFirmwareDataList().empty());

    const struct {
        std::string name, version;
        uint64_t address;
        uint32_t writeSize;
        std::vector<uint8_t> data;
    } expected[] = {
        {"boot", "1.0.3", 0x0, 300, bytes(1000, 0x80)},  // byte sum past 16 bits
        {std::string(64, 'n'), "2.10.0-beta.1234", 0x1'2345'6789'ABCDull, 0x1000, bytes(17, 0xF0)},
        {"empty", "0.0.1", 0x100000, 0, {}},
    };
    L840ContainerWriter container;
    container.date("20250408123000").serial("SN-0840-00000077");
    container.headerSize(128).trailing(bytes(33, 9));  // records start at the declared header size
    for (const auto& e : expected) {
        container.component(L840RecordWriter()
                                .name(e.name)
                                .version(e.version)
                                .address(e.address)
                                .writeSize(e.writeSize)
                                .data(e.data));
    }
    const std::vector<uint8_t> file = container.write();
    const L840FirmwareParser parser(parse(file));
    EXPECT_EQ(parser.getFileHeader().headerSize(), 128u);
    EXPECT_EQ(parser.getFileHeader().dateTime(), "20250408123000");
    EXPECT_EQ(parser.getFileHeader().serial(), "SN-0840-00000077");  // fills the field
    ASSERT_EQ(parser.getFirmwareDataList().size(), 3u);
    const std::vector<L840FirmwareData> list = components(parser);
    ASSERT_EQ(list.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        const L840FirmwareData& fw = list[i];
        EXPECT_EQ(fw.name(), expected[i].name) << i;  // the 64-char name has no terminator
        EXPECT_EQ(fw.version(), expected[i].version) << i;
        EXPECT_EQ(fw.flashAddress(), expected[i].address) << i;
        EXPECT_EQ(fw.writeSize(), expected[i].writeSize) << i;
        // The data stay inside the file: an update never holds the image twice.
        EXPECT_TRUE(fw.data.begin() >= file.data() && fw.data.end() <= file.data() + file.size())
            << i;
        EXPECT_TRUE(std::equal(fw.data.begin(), fw.data.end(), expected[i].data.begin(),
                               expected[i].data.end()))
            << i;
    }
}
