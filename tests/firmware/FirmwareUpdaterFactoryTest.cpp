// The firmware factory's selection order and its refusal.
#include "firmware/FirmwareUpdaterFactory.h"

#include "DevicePidAndMap.h"
#include "common/VxExceptionExt.h"
#include "firmware/L840FirmwareUpdater.h"
#include "support/SimTest.h"
#include "vxsim/VirtualCamera.h"

using namespace libvxsensor;

class FirmwareUpdaterFactoryTest : public SimTest {
protected:
    void TearDown() override {
        resetDeviceGroupTables();
        SimTest::TearDown();
    }
    // "L840" for an L840 updater, "refused: <message>" otherwise.
    static std::string choose(uint16_t vid, uint16_t pid, bool answersProbe = false) {
        vxsim::Device device({vid, pid, "USB3.0", "1.0.0", {}});
        auto camera = std::make_shared<vxsim::VirtualCamera>();
        if (answersProbe) camera->setHostStructuredData(1063, std::vector<uint8_t>(16, 0));
        device.setResponder(camera);
        try {
            const auto updater = FirmwareUpdaterFactory::create(device.handle());
            return dynamic_cast<L840FirmwareUpdater*>(updater.get()) != nullptr ? "L840" : "other";
        } catch (const unsupported_device_exception_ext& e) {
            return std::string("refused: ") + e.what();
        }
    }
};

TEST_F(FirmwareUpdaterFactoryTest, L840FamilySelection) {
    EXPECT_EQ(choose(0x3A6E, 0x0843), "L840") << "L815 models by their constant list";
    EXPECT_EQ(choose(0x3A6E, 0x0501, true), "L840") << "a bootloader that answers the probe";
    EXPECT_EQ(choose(0x1234, 0x0800), "refused: Failed to create FirmwareUpdater! Unsupported device, vid:4660 pid: 2048");
    const uint8_t foreign[] = {0x34, 0x12, 0x00, 0x08};
    setDeviceInfoData(4, foreign, sizeof foreign);
    EXPECT_EQ(choose(0x1234, 0x0800), "L840") << "group tables carry their own vendor ids";
}

TEST_F(FirmwareUpdaterFactoryTest, FamiliesWithoutAnUpdaterYetAreRefused) {
    for (const uint16_t pid : std::vector<uint16_t>{0x0671, 0x0670, 0x0669, 0x060E}) {
        EXPECT_EQ(choose(0x3A6E, pid).rfind("refused: ", 0), 0u) << pid;
    }
    EXPECT_EQ(choose(0x3A6E, 0x0501, false).rfind("refused: ", 0), 0u) << "no probe answer: L5 bootloader";
    EXPECT_EQ(choose(0x3A6E, 0x0FFF), "refused: Failed to create FirmwareUpdater! Unsupported device, vid:14958 pid: 4095");
}

TEST_F(FirmwareUpdaterFactoryTest, HostFailureReadingTheIdentityPropagates) {
    host().failCall(vxsim::HostCall::InfoGetVid, {0, 1, "unplugged"});
    vxsim::Device device({0x3A6E, 0x0843, "USB3.0", "1.0.0", {}});
    EXPECT_THROW(FirmwareUpdaterFactory::create(device.handle()), std::runtime_error);
}
