// The device tables: what the host's records become, and the family each device belongs to.
#include "DevicePidAndMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
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
    EXPECT_EQ(getDeviceIdentifierVector(0)->size(), 1u);
    EXPECT_TRUE(isInGroup(DeviceGroup::L840Series, {0x3A6E, 0x0840}));
    ASSERT_EQ(fill(0, ids, 10), SetDeviceInfoResult::Ok);
    EXPECT_EQ(getDeviceIdentifierVector(0)->size(), 2u);  // replaced, not appended to
    EXPECT_TRUE(isInGroup(DeviceGroup::L840Series, {0x1234, 0xABCD}));
    EXPECT_FALSE(isInGroup(DeviceGroup::L840Series, {0x1234, 0x0840}))
        << "a pid known under another vendor is another device";

    Bytes named = infoRecord(0x40, "Lumex 840");
    const Bytes second = infoRecord(0x41, std::string(64, 'N'));
    named.insert(named.end(), second.begin(), second.end());
    named.resize(named.size() + 10, 'A');
    ASSERT_EQ(fill(5, named, static_cast<uint32_t>(named.size())), SetDeviceInfoResult::Ok);
    EXPECT_EQ(l840ProductName({0x3A6E, 0x0840}), "Lumex 840");
    // A name may use the whole field: kept whole, and read no further than the field.
    EXPECT_EQ(l840ProductName({0x3A6E, 0x0841}), std::string(64, 'N'));

    ASSERT_EQ(fill(5, named, 67), SetDeviceInfoResult::Ok);  // replaced by nothing
    EXPECT_TRUE(getDeviceInfoEntryVector(5)->empty());
    ASSERT_EQ(fill(0, ids, 3), SetDeviceInfoResult::Ok);
    EXPECT_TRUE(getDeviceIdentifierVector(0)->empty());
}

TEST_F(DeviceGroupTables, EachGroupReplacesOnlyItsOwnTable) {
    const uint16_t groups[] = {0, 2, 3, 4, 6};
    const Bytes two{0x6E, 0x3A, 0x00, 0x09, 0x6E, 0x3A, 0x01, 0x09};
    for (const uint16_t group : groups) {
        SCOPED_TRACE(group);
        resetDeviceGroupTables();
        ASSERT_EQ(fill(group, two, 8), SetDeviceInfoResult::Ok);
        ASSERT_EQ(fill(group, two, 4), SetDeviceInfoResult::Ok);  // replaces, does not append
        for (const uint16_t other : groups) {
            EXPECT_EQ(getDeviceIdentifierVector(other)->size(), other == group ? 1u : 0u) << other;
        }
        EXPECT_TRUE(getDeviceInfoEntryVector(5)->empty());
    }
    EXPECT_EQ(fill(1, two, 8), SetDeviceInfoResult::UnknownGroup);
    EXPECT_EQ(fill(0, two, 0), SetDeviceInfoResult::InvalidArgument);
}

// The factories' orders: a device the run-time groups list is served as they say, before any
// constant table is asked; the maker's constant tables need the maker's vendor id.
TEST_F(DeviceGroupTables, FamiliesFollowTheFactoriesOrder) {
    const Bytes l945se{0x6E, 0x3A, 0x0E, 0x06};  // an OpenNI pid, listed as L945Se
    ASSERT_EQ(fill(6, l945se, 4), SetDeviceInfoResult::Ok);
    const Bytes foreign{0x34, 0x12, 0x00, 0x08};  // group tables carry their own vendor ids
    ASSERT_EQ(fill(4, foreign, 4), SetDeviceInfoResult::Ok);
    const std::tuple<DeviceIds, FirmwareFamily, PresetFamily, CustomerDataFamily> cases[] = {
        {{0x3A6E, 0x060E}, FirmwareFamily::L5Pro, PresetFamily::L945Se, CustomerDataFamily::L945Se},
        {{0x3A6E, 0x0614}, FirmwareFamily::OpenNI, PresetFamily::None, CustomerDataFamily::OpenNI},
        {{0x3A6E, 0x0671}, FirmwareFamily::L5Pro, PresetFamily::None, CustomerDataFamily::L945Se},
        {{0x3A6E, 0x0808}, FirmwareFamily::L5, PresetFamily::None, CustomerDataFamily::None},
        {{0x3A6E, 0x0843}, FirmwareFamily::L840, PresetFamily::L840, CustomerDataFamily::None},
        {{0x1234, 0x0843}, FirmwareFamily::None, PresetFamily::None, CustomerDataFamily::None},
        {{0x1234, 0x0800}, FirmwareFamily::L840, PresetFamily::L840, CustomerDataFamily::None},
        {{0x3A6E, 0x0400},
         FirmwareFamily::Bootloader,
         PresetFamily::None,
         CustomerDataFamily::None},
        {{0x3A6E, 0x06C0}, FirmwareFamily::MiroMax, PresetFamily::None, CustomerDataFamily::None},
    };
    for (const auto& [ids, firmware, presets, customerData] : cases) {
        SCOPED_TRACE(ids.pid);
        EXPECT_EQ(firmwareFamilyOf(ids), firmware);
        EXPECT_EQ(presetFamilyOf(ids), presets);
        EXPECT_EQ(customerDataFamilyOf(ids), customerData);
    }
    // Every model a serial resolves to must be one the family knows by name or list.
    for (const std::string prefix : {"AY3", "AY6", "AY8", "CPA", "AAR", "AAU", "AYX", "AYY"}) {
        const auto pid = l5PidForSerialPrefix(prefix);
        ASSERT_TRUE(pid) << prefix;
        EXPECT_EQ(firmwareFamilyOf({kVendorId, *pid}), FirmwareFamily::L5) << prefix;
    }
    EXPECT_FALSE(l5PidForSerialPrefix("ay3")) << "case matters";
    EXPECT_EQ(l815ProductName(0x0841), "Lumex 815");
}
