// The firmware factory's selection order and its refusal.
#include "firmware/FirmwareUpdaterFactory.h"

#include "DevicePidAndMap.h"
#include "common/VxExceptionExt.h"
#include "firmware/L5FirmwareUpdater.h"
#include "firmware/L5ProFirmwareUpdater.h"
#include "firmware/L840FirmwareUpdater.h"
#include "firmware/MiroMaxFirmwareUpdater.h"
#include "firmware/OpenNIFirmwareUpdater.h"
#include "support/SimTest.h"
#include "vxsim/VirtualCamera.h"

using namespace libvxsensor;

class FirmwareUpdaterFactoryTest : public SimTest {
protected:
    void TearDown() override {
        resetDeviceGroupTables();
        SimTest::TearDown();
    }
    // The family of the updater chosen ("L840", "L5", ...), or "refused: <message>".
    static std::string choose(uint16_t vid, uint16_t pid, bool answersProbe = false) {
        vxsim::Device device({vid, pid, "USB3.0", "1.0.0", {}});
        auto camera = std::make_shared<vxsim::VirtualCamera>();
        if (answersProbe) camera->setHostStructuredData(1063, std::vector<uint8_t>(16, 0));
        device.setResponder(camera);
        try {
            const auto updater = FirmwareUpdaterFactory::create(device.handle());
            IFirmwareUpdater* u = updater.get();
            if (dynamic_cast<L840FirmwareUpdater*>(u)) return "L840";
            if (dynamic_cast<L5FirmwareUpdater*>(u)) return "L5";
            if (dynamic_cast<L5ProFirmwareUpdater*>(u)) return "L5Pro";
            if (dynamic_cast<OpenNIFirmwareUpdater*>(u)) return "OpenNI";
            if (dynamic_cast<MiroMaxFirmwareUpdater*>(u)) return "MiroMax";
            return "other";
        } catch (const unsupported_device_exception_ext& e) {
            return std::string("refused: ") + e.what();
        }
    }
};

TEST_F(FirmwareUpdaterFactoryTest, L840FamilySelection) {
    EXPECT_EQ(choose(0x3A6E, 0x0843), "L840") << "L815 models by their constant list";
    EXPECT_EQ(choose(0x3A6E, 0x0501, true), "L840") << "a bootloader that answers the probe";
    EXPECT_EQ(choose(0x1234, 0x0800),
              "refused: Failed to create FirmwareUpdater! Unsupported device, vid:4660 pid: 2048");
    const uint8_t foreign[] = {0x34, 0x12, 0x00, 0x08};
    setDeviceInfoData(4, foreign, sizeof foreign);
    EXPECT_EQ(choose(0x1234, 0x0800), "L840") << "group tables carry their own vendor ids";
}

TEST_F(FirmwareUpdaterFactoryTest, SelectionOrderOfTheOtherFamilies) {
    EXPECT_EQ(choose(0x3A6E, 0x0671), "L5Pro");
    EXPECT_EQ(choose(0x3A6E, 0x0670), "L5");
    EXPECT_EQ(choose(0x3A6E, 0x0660), "L5");
    EXPECT_EQ(choose(0x3A6E, 0x0809), "L5");
    EXPECT_EQ(choose(0x3A6E, 0x0669), "MiroMax");
    EXPECT_EQ(choose(0x3A6E, 0x069D), "OpenNI");
    EXPECT_EQ(choose(0x3A6E, 0x0501, false), "L5") << "a bootloader that does not answer the probe";
    EXPECT_EQ(choose(0x3A6E, 0x0400, false), "OpenNI");
    EXPECT_EQ(choose(0x3A6E, 0x066B),
              "refused: Failed to create FirmwareUpdater! Unsupported device, vid:14958 pid: 1643");
    const uint8_t l945se[] = {0x6E, 0x3A, 0x70, 0x06};  // an L5 pid listed as L945Se
    setDeviceInfoData(6, l945se, sizeof l945se);
    EXPECT_EQ(choose(0x3A6E, 0x0670), "L5Pro") << "device groups come before the constant lists";
    const uint8_t l840[] = {0x6E, 0x3A, 0x71, 0x06};
    setDeviceInfoData(4, l840, sizeof l840);
    EXPECT_EQ(choose(0x3A6E, 0x0671), "L840");
}

TEST_F(FirmwareUpdaterFactoryTest, HostFailureReadingTheIdentityPropagates) {
    host().failCall(vxsim::HostCall::InfoGetVid, {0, 1, "unplugged"});
    vxsim::Device device({0x3A6E, 0x0843, "USB3.0", "1.0.0", {}});
    EXPECT_THROW(FirmwareUpdaterFactory::create(device.handle()), std::runtime_error);
}
