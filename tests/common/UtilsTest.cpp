// check_vx_error: host error objects become exceptions, and are freed on the way.
#include "common/Utils.h"

#include <stdexcept>

#include "support/SimTest.h"

using namespace libvxsensor;

class CheckVxErrorTest : public SimTest {};

TEST_F(CheckVxErrorTest, NoErrorDoesNothing) {
    vx_error* error = nullptr;
    EXPECT_NO_THROW(check_vx_error(&error));
    EXPECT_NO_THROW(check_vx_error(nullptr));
    EXPECT_TRUE(host().logLines().empty());
}

TEST_F(CheckVxErrorTest, ErrorIsLoggedFreedAndThrownWithTheHostMessage) {
    vx_error* error = vx_create_error(1, "device unplugged", "vx_device_get_device_info", "", 0);
    try {
        check_vx_error(&error);
        FAIL() << "no exception";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "device unplugged");
    }
    ASSERT_EQ(host().logLines().size(), 1u);
    const vxsim::LogLine& line = host().logLines()[0];
    EXPECT_EQ(line.message,
              "Execute failure! An error has occurred!\n - where: vx_device_get_device_info\n"
              " - msg: device unplugged");
    EXPECT_EQ(line.severity, VX_LOG_SEVERITY_WARN);
    EXPECT_EQ(line.function, "check_vx_error");
    // SimTest's teardown proves the object was deleted.
}

TEST_F(CheckVxErrorTest, ErrorFromAFailingHostCallSurfaces) {
    vxsim::Device camera({0x3A6E, 0x0840, "USB3.0", "1.7.16", {}});
    host().failCall(vxsim::HostCall::GetDeviceInfo, {0, 1, "no such device"});
    vx_error* error = nullptr;
    vx_device_info* info = vx_device_get_device_info(camera.handle(), &error);
    EXPECT_EQ(info, nullptr);
    EXPECT_THROW(check_vx_error(&error), std::runtime_error);
}
