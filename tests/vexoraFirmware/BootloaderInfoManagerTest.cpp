// Recovering a bootloader-mode camera's identity from the save info in its flash.
#include "vexoraFirmware/L5BootloaderInfoManager.h"
#include "vexoraFirmware/L840BootloaderInfoManager.h"

#include "DevicePidAndMap.h"
#include "support/SimTest.h"
#include "vxsim/Models.h"

using namespace libvxsensor;

namespace {

// A 56-byte L5 save-info record with the two serial prefixes.
std::vector<uint8_t> l5Record(const char* prefixA, const char* prefixB,
                              uint32_t magic = 0x5AA5CDDC) {
    std::vector<uint8_t> r(56, 0);
    for (int i = 0; i < 4; ++i) r[static_cast<size_t>(i)] = static_cast<uint8_t>(magic >> (8 * i));
    std::copy(prefixA, prefixA + 3, r.begin() + 20);
    std::copy(prefixB, prefixB + 3, r.begin() + 40);
    return r;
}

std::vector<uint8_t> l840Record(uint16_t vid, uint16_t pid) {
    std::vector<uint8_t> r(87, 0x11);
    r[32] = static_cast<uint8_t>(vid);
    r[33] = static_cast<uint8_t>(vid >> 8);
    r[34] = static_cast<uint8_t>(pid);
    r[35] = static_cast<uint8_t>(pid >> 8);
    return r;
}

size_t readsOf(const vxsim::Device& device) {
    return device.exchanges().size();
}

}  // namespace

class BootloaderInfoTest : public SimTest {
protected:
    void TearDown() override {
        resetDeviceGroupTables();
        SimTest::TearDown();
    }
    std::shared_ptr<vxsim::VirtualCamera> camera = std::make_shared<vxsim::VirtualCamera>();
    vxsim::Device device{{0x3A6E, 0x0501, "USB3.0", "1.0.0", {}}};
    void SetUp() override {
        SimTest::SetUp();
        device.setResponder(camera);
    }
};

TEST_F(BootloaderInfoTest, L5RecordAtTheMainOffsetIsUsedAndRemembered) {
    camera->writeFlashDirect(0xA1000, l5Record("AY3", "AY8"));
    L5BootloaderInfoManager manager;
    EXPECT_EQ(manager.getDevicePid(device.handle(), 256), 0x0673) << "prefix B is tried first";
    EXPECT_EQ(readsOf(device), 1u);
    EXPECT_EQ(manager.getDeviceName(), "Lumex 5 S");
    EXPECT_EQ(manager.getDevicePid(device.handle(), 256), 0x0673);
    EXPECT_EQ(readsOf(device), 1u) << "a resolved pid needs no second read";
}

TEST_F(BootloaderInfoTest, L5FallsBackToTheSecondOffset) {
    camera->writeFlashDirect(0xA2000, l5Record("AYX", "zzz"));
    L5BootloaderInfoManager manager;
    EXPECT_EQ(manager.getDevicePid(device.handle(), 256), 0x0808) << "prefix A when B is unknown";
    ASSERT_EQ(logLinesWith("Try to read flash chunk from offset: 663552").size(), 1u);
}

TEST_F(BootloaderInfoTest, L5WithoutUsableSaveInfoStaysInTheBootloaderIdentity) {
    L5BootloaderInfoManager manager;
    EXPECT_EQ(manager.getDevicePid(device.handle(), 256), 0x0501);
    EXPECT_EQ(logLinesWith("Invalid flash chunk data! Requested 1520815580 but 4294967295").size(),
              1u);
    EXPECT_EQ(logLinesWith("Save info is empty, use bootloader pid 1281").size(), 1u);
    EXPECT_EQ(manager.getDeviceName(), "");

    camera->writeFlashDirect(0xA1000, l5Record("ay3", "QQQ"));
    EXPECT_EQ(manager.getDevicePid(device.handle(), 256), 0x0501) << "prefixes are case-sensitive";
    EXPECT_EQ(logLinesWith("Can't find the correct pid via sn QQQ and ay3").size(), 1u);

    // Chunks smaller than the record are never taken.
    camera->writeFlashDirect(0xA1000, l5Record("AY3", "AY3"));
    EXPECT_EQ(manager.getDevicePid(device.handle(), 32), 0x0501);
}

TEST_F(BootloaderInfoTest, L840TrustsOnlyKnownIdentities) {
    struct Case {
        uint16_t vid, pid;
        uint32_t expected;  // vid | pid << 16
    };
    const uint8_t kovra[] = {0x34, 0x12, 0x10, 0x08};  // a KovraA model of another vendor
    setDeviceInfoData(3, kovra, sizeof kovra);
    const Case cases[] = {
        {0xFFFF, 0x0843, 0x0843u << 16 | 0x3A6E},  // erased vid, an L815 pid
        {0x0000, 0x0840, 0x0840u << 16 | 0x3A6E},
        {0x1234, 0x0810, 0x0810u << 16 | 0x1234},  // listed in a device group
        {0x1234, 0x0843, 0x0501u << 16 | 0x3A6E},  // foreign and unlisted: not trusted
        {0x3A6E, 0x0999, 0x0501u << 16 | 0x3A6E},
    };
    for (const Case& c : cases) {
        camera->writeFlashDirect(0xA1000, l840Record(c.vid, c.pid));
        L840BootloaderInfoManager manager;
        EXPECT_EQ(manager.getDeviceVidPid(device.handle(), 480), c.expected)
            << c.vid << ":" << c.pid;
        EXPECT_EQ(manager.getDevicePid(device.handle(), 480), 0x0501);
    }
}

TEST_F(BootloaderInfoTest, L840NameComesFromTheDeviceGroupTable) {
    auto cam = vxsim::makeCamera("l840,boot");
    for (const auto& [group, records] : vxsim::groupRecords())
        setDeviceInfoData(group, records.data(), static_cast<uint32_t>(records.size()));
    L840BootloaderInfoManager manager;
    EXPECT_EQ(manager.getDeviceVidPid(cam->handle(), 480), 0x0800u << 16 | 0x3A6E);
    EXPECT_EQ(manager.getDeviceName(), "Lumex 840");
    EXPECT_EQ(manager.getSaveInfoFromFlash(cam->handle(), 64), std::vector<uint8_t>(87, 0))
        << "a record read in smaller chunks is all zero";
}
