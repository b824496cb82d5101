#include "DevicePidAndMap.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace libvxsensor;

namespace {

std::vector<uint8_t> idRecord(uint16_t vid, uint16_t pid) {
    return {static_cast<uint8_t>(vid), static_cast<uint8_t>(vid >> 8), static_cast<uint8_t>(pid),
            static_cast<uint8_t>(pid >> 8)};
}

// name is copied as is into the 64-byte field, so a 64-character name leaves no terminator.
std::vector<uint8_t> infoRecord(uint16_t vid, uint16_t pid, const std::string& name) {
    std::vector<uint8_t> out = idRecord(vid, pid);
    out.resize(kDeviceInfoEntryWireSize, 0);
    for (std::size_t i = 0; i < name.size() && i < 64; ++i) {
        out[4 + i] = static_cast<uint8_t>(name[i]);
    }
    return out;
}

std::vector<uint8_t> concat(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

SetDeviceInfoResult fill(uint16_t group, const std::vector<uint8_t>& bytes, uint32_t size) {
    return setDeviceInfoData(group, bytes.data(), size);
}

class DeviceGroupTables : public ::testing::Test {
protected:
    void SetUp() override { resetDeviceGroupTables(); }
    void TearDown() override { resetDeviceGroupTables(); }
};

}  // namespace

TEST_F(DeviceGroupTables, IdentifierRecordsDecodeLittleEndianAndPartialRecordsAreDropped) {
    const auto bytes = concat(idRecord(0x3A6E, 0x0840), idRecord(0x1234, 0xABCD));

    ASSERT_EQ(fill(0, bytes, 7), SetDeviceInfoResult::Ok);
    ASSERT_EQ(L840SeriesDevPids.size(), 1u);
    EXPECT_EQ(L840SeriesDevPids[0].vid, 0x3A6E);
    EXPECT_EQ(L840SeriesDevPids[0].pid, 0x0840);

    auto ten = bytes;
    ten.resize(10, 0xEE);
    ASSERT_EQ(fill(0, ten, 10), SetDeviceInfoResult::Ok);
    ASSERT_EQ(L840SeriesDevPids.size(), 2u);
    EXPECT_EQ(L840SeriesDevPids[1].vid, 0x1234);
    EXPECT_EQ(L840SeriesDevPids[1].pid, 0xABCD);

    // Fewer bytes than one record is a valid way to empty a group.
    ASSERT_EQ(fill(0, bytes, 3), SetDeviceInfoResult::Ok);
    EXPECT_TRUE(L840SeriesDevPids.empty());
}

TEST_F(DeviceGroupTables, EachIdentifierGroupFillsOnlyItsOwnTable) {
    const std::vector<std::vector<DeviceIdentifier>*> tables = {
        &L840SeriesDevPids, &L845SeDevPids, &KovraADevPids, &L840AndKovraADevPids, &L945SeDevPids};
    const uint16_t groups[] = {0, 2, 3, 4, 6};
    for (std::size_t g = 0; g < tables.size(); ++g) {
        resetDeviceGroupTables();
        const auto pid = static_cast<uint16_t>(0x0900 + g);
        ASSERT_EQ(fill(groups[g], idRecord(0x3A6E, pid), 4), SetDeviceInfoResult::Ok);
        EXPECT_EQ(getDeviceIdentifierVector(groups[g]), tables[g]);
        for (std::size_t other = 0; other < tables.size(); ++other) {
            EXPECT_EQ(tables[other]->size(), other == g ? 1u : 0u) << "group " << groups[g];
        }
        EXPECT_TRUE(L840DevicePidToName.empty());
        EXPECT_TRUE(isDeviceInContainer(*tables[g], 0x3A6E, pid));
    }
}

TEST_F(DeviceGroupTables, InfoEntriesDecodeNamesAndAlwaysTerminateThem) {
    const std::string longName(64, 'N');
    auto bytes =
        concat(infoRecord(0x3A6E, 0x0840, "Lumex 840"), infoRecord(0x0102, 0x0304, longName));
    bytes.resize(bytes.size() + 10, 0x41);

    ASSERT_EQ(fill(5, bytes, static_cast<uint32_t>(bytes.size())), SetDeviceInfoResult::Ok);
    ASSERT_EQ(L840DevicePidToName.size(), 2u);
    EXPECT_EQ(L840DevicePidToName[0].vid, 0x3A6E);
    EXPECT_EQ(L840DevicePidToName[0].pid, 0x0840);
    EXPECT_EQ(L840DevicePidToName[0].nameText(), "Lumex 840");
    EXPECT_EQ(L840DevicePidToName[1].vid, 0x0102);
    EXPECT_EQ(L840DevicePidToName[1].pid, 0x0304);
    EXPECT_EQ(L840DevicePidToName[1].name[63], '\0');
    EXPECT_EQ(L840DevicePidToName[1].nameText(), std::string(63, 'N'));
    EXPECT_TRUE(L840SeriesDevPids.empty());

    // One byte short of a record: accepted, and the group ends up empty.
    ASSERT_EQ(fill(5, bytes, 67), SetDeviceInfoResult::Ok);
    EXPECT_TRUE(L840DevicePidToName.empty());
}

TEST_F(DeviceGroupTables, SecondFillReplacesInsteadOfAppending) {
    ASSERT_EQ(fill(3, concat(idRecord(1, 2), idRecord(3, 4)), 8), SetDeviceInfoResult::Ok);
    ASSERT_EQ(fill(3, idRecord(5, 6), 4), SetDeviceInfoResult::Ok);
    ASSERT_EQ(KovraADevPids.size(), 1u);
    EXPECT_EQ(KovraADevPids[0].pid, 6);

    ASSERT_EQ(fill(5, infoRecord(1, 2, "old"), 68), SetDeviceInfoResult::Ok);
    ASSERT_EQ(fill(5, infoRecord(3, 4, "new"), 68), SetDeviceInfoResult::Ok);
    ASSERT_EQ(L840DevicePidToName.size(), 1u);
    EXPECT_EQ(L840DevicePidToName[0].nameText(), "new");
}

TEST_F(DeviceGroupTables, RefusedCallsLeaveEveryTableAsItWas) {
    ASSERT_EQ(fill(0, idRecord(0x3A6E, 0x0840), 4), SetDeviceInfoResult::Ok);
    ASSERT_EQ(fill(5, infoRecord(0x3A6E, 0x0840, "Lumex 840"), 68), SetDeviceInfoResult::Ok);
    const auto bytes = concat(infoRecord(9, 9, "x"), infoRecord(9, 9, "y"));

    for (uint16_t group : {uint16_t{1}, uint16_t{7}, uint16_t{0xFFFF}}) {
        EXPECT_EQ(fill(group, bytes, static_cast<uint32_t>(bytes.size())),
                  SetDeviceInfoResult::UnknownGroup)
            << "group " << group;
    }
    for (uint16_t group : {uint16_t{0}, uint16_t{1}, uint16_t{5}, uint16_t{7}}) {
        EXPECT_EQ(setDeviceInfoData(group, nullptr, 68), SetDeviceInfoResult::InvalidArgument);
        EXPECT_EQ(fill(group, bytes, 0), SetDeviceInfoResult::InvalidArgument);
    }

    ASSERT_EQ(L840SeriesDevPids.size(), 1u);
    EXPECT_EQ(L840SeriesDevPids[0].pid, 0x0840);
    ASSERT_EQ(L840DevicePidToName.size(), 1u);
    EXPECT_EQ(L840DevicePidToName[0].nameText(), "Lumex 840");
    EXPECT_TRUE(L845SeDevPids.empty() && KovraADevPids.empty() && L840AndKovraADevPids.empty() &&
                L945SeDevPids.empty());
}

TEST(DeviceGroupLookup, GroupTypesMapToTheRightKindOfTable) {
    for (uint16_t group : {uint16_t{1}, uint16_t{5}, uint16_t{7}, uint16_t{0xFFFF}}) {
        EXPECT_EQ(getDeviceIdentifierVector(group), nullptr) << "group " << group;
    }
    EXPECT_EQ(getDeviceInfoEntryVector(5), &L840DevicePidToName);
    for (uint16_t group : {uint16_t{0}, uint16_t{1}, uint16_t{6}, uint16_t{7}}) {
        EXPECT_EQ(getDeviceInfoEntryVector(group), nullptr) << "group " << group;
    }
}

TEST(DeviceMatching, BothIdsMustMatch) {
    const std::vector<DeviceIdentifier> none;
    EXPECT_FALSE(isDeviceInContainer(none, 0x3A6E, 0x0840));

    const std::vector<DeviceIdentifier> ids = {{0x3A6E, 0x0840}, {0x1234, 0x0841}};
    EXPECT_TRUE(isDeviceInContainer(ids, 0x1234, 0x0841));
    EXPECT_FALSE(isDeviceInContainer(ids, 0x1234, 0x0840));  // PID known, but under another VID
    EXPECT_FALSE(isDeviceInContainer(ids, 0x3A6E, 0x0841));

    const std::vector<DeviceInfoEntry> named = {{0x3A6E, 0x0842, "Lumex 815x"}};
    EXPECT_TRUE(isDeviceInContainer(named, 0x3A6E, 0x0842));

    EXPECT_TRUE(isPidValid(0x0845, L815DevPids));
    EXPECT_FALSE(isPidValid(0x0844, L815DevPids));
    EXPECT_FALSE(isPidValid(0x0840, {}));
}

TEST(ConstantTables, LookupsAreCaseSensitiveAndTablesAgree) {
    EXPECT_EQ(L5SerialPrefixToDevicePid.count("ay3"), 0u);
    ASSERT_EQ(L5SerialPrefixToDevicePid.count("AY3"), 1u);
    EXPECT_EQ(L5SerialPrefixToDevicePid.at("AY3"), 0x0670);

    // Every model a serial resolves to must be one the PID lists know about.
    for (const auto& [prefix, pid] : L5SerialPrefixToDevicePid) {
        EXPECT_TRUE(isPidValid(pid, Lumex5DevPids) || isPidValid(pid, Pellin3DevPids) ||
                    isPidValid(pid, Lumex470DevPids))
            << prefix;
    }
    for (uint16_t pid : L815DevPids) {
        EXPECT_EQ(L815DevicePidToName.count(pid), 1u) << std::hex << pid;
    }
    EXPECT_TRUE(isPidValid(kBootloaderPid, BootDevPids));
}
