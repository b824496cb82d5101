// log_ext: formatting, call-site position, and a sink that fails.
#include "common/LogExt.h"

#include "support/SimTest.h"

using namespace libvxsensor;

class LogExtTest : public SimTest {};

TEST_F(LogExtTest, PositionalPlaceholdersAreFilledInOrder) {
    log_ext(VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC,
            "Request failed, device response with warning, errorCode: {0}, msg:{1}", 32769u,
            std::string("busy"));
    ASSERT_EQ(host().logLines().size(), 1u);
    EXPECT_EQ(host().logLines()[0].message,
              "Request failed, device response with warning, errorCode: 32769, msg:busy");
}

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
}
