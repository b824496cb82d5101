// The exception family: categories, messages, and the warning line every construction leaves.
#include "common/VxExceptionExt.h"

#include <gmock/gmock.h>

#include "support/SimTest.h"

using namespace libvxsensor;
using ::testing::EndsWith;

class VxExceptionExtTest : public SimTest {};

TEST_F(VxExceptionExtTest, EachClassCarriesItsCategoryAndMessage) {
    EXPECT_EQ(libvxsensor_exception_ext("a", EXT_ERROR_GENERIC).type(), EXT_ERROR_GENERIC);
    EXPECT_EQ(unsupported_device_exception_ext("b").type(), EXT_ERROR_UNSUPPORTED_DEVICE);
    EXPECT_EQ(mismatch_firmware_exception_ext("c").type(), EXT_ERROR_MISMATCH_FIRMWARE);
    EXPECT_EQ(invalid_preset_count_ext("d").type(), EXT_ERROR_INVALID_PRESET_COUNT);
    EXPECT_EQ(invalid_connection_type_ext("e").type(), EXT_ERROR_INVALID_CONNECTION_TYPE);
    EXPECT_EQ(unsupported_operation_exception_ext("f").type(), EXT_ERROR_UNSUPPORTED_OPERATION);
    EXPECT_STREQ(mismatch_firmware_exception_ext("Checksum mismatch!\nline two").what(),
                 "Checksum mismatch!\nline two");
}

TEST_F(VxExceptionExtTest, FamilyMembersAreCaughtAsStandardExceptions) {
    try {
        throw unsupported_device_exception_ext("Unsupported device!");
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "Unsupported device!");
        return;
    }
    FAIL() << "not caught as std::exception";
}

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

TEST_F(VxExceptionExtTest, SinkErrorIsDeletedAndIgnored) {
    host().failCall(vxsim::HostCall::LogExternalMessage, {0, 0});
    EXPECT_STREQ(mismatch_firmware_exception_ext("still thrown").what(), "still thrown");
    // SimTest's teardown proves the sink's error object was deleted.
}
