#include "DevicePidAndMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using namespace libvxsensor;

namespace {

using Bytes = std::vector<uint8_t>;

// A named record; a name of all 64 characters leaves no terminator in the field.
Bytes infoRecord(uint8_t pidLow, const std::string& name) {
    Bytes out{0x6E, 0x3A, pidLow, 0x08};
    out.resize(kDeviceInfoEntryWireSize, 0);
    std::copy(name.begin(), name.end(), out.begin() + 4);
    return out;
}

SetDeviceInfoResult fill(uint16_t group, const Bytes& bytes, uint32_t size) {
    return setDeviceInfoData(group, bytes.data(), size);
}

class DeviceGroupTables : public ::testing::Test {
protected:
    void SetUp() override { resetDeviceGroupTables(); }
    void TearDown() override { resetDeviceGroupTables(); }
};

}  // namespace

// Only whole records count: fewer bytes than one record is a valid way to empty a group.
TEST_F(DeviceGroupTables, RecordsDecodeLittleEndianAndPartialOnesAreDropped) {
    const Bytes ids{0x6E, 0x3A, 0x40, 0x08, 0x34, 0x12, 0xCD, 0xAB, 0xEE, 0xEE};
    ASSERT_EQ(fill(0, ids, 7), SetDeviceInfoResult::Ok);
    ASSERT_EQ(L840SeriesDevPids.size(), 1u);
    EXPECT_EQ(L840SeriesDevPids[0].vid, 0x3A6E);
    EXPECT_EQ(L840SeriesDevPids[0].pid, 0x0840);
    ASSERT_EQ(fill(0, ids, 10), SetDeviceInfoResult::Ok);
    ASSERT_EQ(L840SeriesDevPids.size(), 2u);  // replaced, not appended to
    EXPECT_TRUE(isDeviceInContainer(L840SeriesDevPids, 0x1234, 0xABCD));

    Bytes named = infoRecord(0x40, "Lumex 840");
    const Bytes second = infoRecord(0x41, std::string(64, 'N'));
    named.insert(named.end(), second.begin(), second.end());
    named.resize(named.size() + 10, 'A');
    ASSERT_EQ(fill(5, named, static_cast<uint32_t>(named.size())), SetDeviceInfoResult::Ok);
    ASSERT_EQ(L840DevicePidToName.size(), 2u);
    EXPECT_EQ(L840DevicePidToName[0].pid, 0x0840);
    EXPECT_EQ(L840DevicePidToName[0].nameText(), "Lumex 840");
    // A name may use the whole field: kept whole, and read no further than the field.
    EXPECT_EQ(L840DevicePidToName[1].nameText(), std::string(64, 'N'));

    ASSERT_EQ(fill(5, named, 67), SetDeviceInfoResult::Ok);  // replaced by nothing
    EXPECT_TRUE(L840DevicePidToName.empty());
    ASSERT_EQ(fill(0, ids, 3), SetDeviceInfoResult::Ok);
    EXPECT_TRUE(L840SeriesDevPids.empty());
}

TEST_F(DeviceGroupTables, EachGroupReplacesOnlyItsOwnTable) {
    const std::vector<std::pair<uint16_t, std::vector<DeviceIdentifier>*>> tables{
        {0, &L840SeriesDevPids},
        {2, &L845SeDevPids},
        {3, &KovraADevPids},
        {4, &L840AndKovraADevPids},
        {6, &L945SeDevPids}};
    const Bytes two{0x6E, 0x3A, 0x00, 0x09, 0x6E, 0x3A, 0x01, 0x09};
    for (const auto& [group, unused] : tables) {
        SCOPED_TRACE(group);
        resetDeviceGroupTables();
        ASSERT_EQ(fill(group, two, 8), SetDeviceInfoResult::Ok);
        ASSERT_EQ(fill(group, two, 4), SetDeviceInfoResult::Ok);  // replaces, does not append
        for (const auto& [other, otherTable] : tables) {
            EXPECT_EQ(otherTable->size(), other == group ? 1u : 0u) << other;
        }
        EXPECT_TRUE(L840DevicePidToName.empty());
    }
}

TEST(DeviceMatching, BothIdsMustMatchAndConstantTablesAgree) {
    const std::vector<DeviceIdentifier> ids = {{0x3A6E, 0x0840}, {0x1234, 0x0841}};
    EXPECT_TRUE(isDeviceInContainer(ids, 0x1234, 0x0841));
    EXPECT_FALSE(isDeviceInContainer(ids, 0x1234, 0x0840));  // PID known, but under another VID
    EXPECT_FALSE(isDeviceInContainer(ids, 0x3A6E, 0x0841));
    EXPECT_FALSE(isPidValid(0x0844, L815DevPids));

    // Every model a serial resolves to must be one the PID lists know about.
    for (const auto& [prefix, pid] : L5SerialPrefixToDevicePid) {
        EXPECT_TRUE(isPidValid(pid, Lumex5DevPids) || isPidValid(pid, Pellin3DevPids) ||
                    isPidValid(pid, Lumex470DevPids))
            << prefix;
    }
    for (uint16_t pid : L815DevPids) EXPECT_EQ(L815DevicePidToName.count(pid), 1u) << pid;
    EXPECT_TRUE(isPidValid(kBootloaderPid, BootDevPids));
}
