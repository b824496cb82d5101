// The common layer: log lines and their call site, the exception family's warning line, and host
// error objects turned into exceptions; each frees what a failing sink or host hands back.
#include <gmock/gmock.h>

#include <stdexcept>

#include "common/LogExt.h"
#include "common/Utils.h"
#include "common/VxExceptionExt.h"
#include "support/SimTest.h"

using namespace libvxsensor;
using ::testing::EndsWith;

class LogExtTest : public SimTest {};

TEST_F(LogExtTest, LineCarriesSeverityModuleAndCallSite) {
    const int line = __LINE__ + 1;
    log_ext(VX_LOG_SEVERITY_ERROR, VX_SOURCE_LOC, "Failed to read flash chunk from offset: {}",
            659456u);
    const vxsim::LogLine& logged = host().logLines().at(0);
    EXPECT_EQ(logged.severity, VX_LOG_SEVERITY_ERROR);
    EXPECT_EQ(logged.module, "SDKExt");
    EXPECT_EQ(logged.message, "Failed to read flash chunk from offset: 659456");
    EXPECT_EQ(logged.file, __FILE__);
    EXPECT_EQ(logged.function, "TestBody");
    EXPECT_EQ(logged.line, line);
}

TEST_F(LogExtTest, SinkErrorsAreDeletedAndTheCallerSeesNothing) {
    host().failCall(vxsim::HostCall::LogExternalMessage, {0, 3});
    for (int i = 0; i < 3; ++i) {
        log_ext(VX_LOG_SEVERITY_INFO, VX_SOURCE_LOC, "Find the real pid {}", 1648);
    }
    EXPECT_EQ(host().callCount(vxsim::HostCall::LogExternalMessage), 3u);
    // SimTest's teardown proves the sink's error objects were deleted.
}

class VxExceptionExtTest : public SimTest {};

TEST_F(VxExceptionExtTest, ConstructionLogsOneWarningLine) {
    unsupported_operation_exception_ext error("Write Custom data failed!");
    ASSERT_EQ(host().logLines().size(), 1u);
    const vxsim::LogLine& line = host().logLines()[0];
    EXPECT_EQ(line.severity, VX_LOG_SEVERITY_WARN);
    EXPECT_EQ(line.module, "SDKExt");
    EXPECT_EQ(line.message, error.what());
    EXPECT_EQ(line.function, "libvxsensor_exception_ext");
    EXPECT_THAT(line.file, EndsWith("VxExceptionExt.h"));
    EXPECT_GT(line.line, 0);
}

TEST_F(VxExceptionExtTest, MessageIsFormatTextForTheLogButKeptVerbatimInWhat) {
    libvxsensor_exception_ext escaped("set {{a}}", EXT_ERROR_GENERIC);
    EXPECT_EQ(host().logLines().back().message, "set {a}");
    EXPECT_STREQ(escaped.what(), "set {{a}}");

    // A stray brace from a file or device must not crash: it is logged as it stands.
    libvxsensor_exception_ext stray("unmatched serial {L800", EXT_ERROR_GENERIC);
    EXPECT_EQ(host().logLines().back().message, "unmatched serial {L800");
    libvxsensor_exception_ext placeholder("name {}", EXT_ERROR_GENERIC);
    EXPECT_EQ(host().logLines().back().message, "name {}");
}

class CheckVxErrorTest : public SimTest {};

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
