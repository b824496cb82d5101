// Replay cameras over a trace vxfw recorded (tests/traces): the recorded run matches, a changed
// answer shows where the library then asks otherwise, and a spoilt file never gets replayed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "common/DeviceInfo.h"
#include "common/Utils.h"
#include "support/Scratch.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Replay.h"
#include "vxtrace/Trace.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

const std::string kTrace = VXTEST_TRACES "/openni-customer-data-read.trace";

// What `vxfw customer-data read --sim openni` did: ask the connection type (for its link model),
// then read.
void readCustomerData(vx_device_t* device) {
    libvxsensor::DeviceInfo(device).connectionType();
    std::vector<uint8_t> data(1024);
    auto size = static_cast<uint32_t>(data.size());
    try {
        vx_device_read_customer_data_ext(device, data.data(), &size);
    } catch (const std::exception&) {
        // A divergence fails the read; the camera's report says why.
    }
}

std::string textOf(const std::string& path) {
    const std::vector<uint8_t> bytes = libvxsensor::readFile(path);
    return {bytes.begin(), bytes.end()};
}

std::string written(const std::string& name, const std::string& text) {
    const std::string path = scratchDir() + name;
    std::ofstream(path, std::ios::binary) << text;
    return path;
}

TEST(Replay, RecordedRunMatches) {
    vxsim::ReplayCamera camera(kTrace);
    readCustomerData(camera.handle());
    EXPECT_TRUE(camera.matched()) << camera.report();
    EXPECT_EQ(camera.served(), camera.entries());
}

TEST(Replay, ChangedAnswerDivergesWhereTheLibraryAsksOtherwise) {
    vxtrace::Trace trace = vxtrace::readTrace(kTrace);
    // The first send is the length query: 0 bytes recorded, 4 now, so the library reads data
    // where it finished the read before, which the next entry recorded.
    const auto query =
        std::find_if(trace.entries.begin(), trace.entries.end(),
                     [](const vxtrace::Entry& e) { return e.call == vxtrace::Call::Send; });
    ASSERT_NE(query, trace.entries.end());
    ASSERT_GT(query->answer.size(), 10u);
    query->answer[10] = 4;
    const std::string finish = "diverged at entry " +
                               std::to_string(query - trace.entries.begin() + 2) + " of " +
                               std::to_string(trace.entries.size()) + "\n";
    const std::string path = scratchDir() + "changed-answer.trace";
    vxtrace::writeTrace(path, trace);

    vxsim::ReplayCamera camera(path);
    readCustomerData(camera.handle());
    EXPECT_TRUE(camera.diverged());
    // Request ids count on across the tests of this process: the seen one is the run's own.
    EXPECT_THAT(camera.report(),
                AllOf(HasSubstr(finish + "  expected: send FINISH_READ_DATA(19) id=2 words=2 "
                                         "property=0x41C, capacity 64\n"
                                         "            474d0200 13000200 1c040000\n"
                                         "  seen:     send READ_DATA(18) id="),
                      HasSubstr(" words=6 property=0x41C offset=0 size=4, capacity 1024\n")));
}

TEST(Replay, SpoiltTracesAreRefused) {
    const std::string whole = textOf(kTrace);
    const size_t second = whole.find('\n') + 1;
    const auto replaced = [&](const std::string& from, const std::string& to) {
        std::string text = whole;
        return text.replace(text.find(from), from.size(), to);
    };
    // Line numbers count from 1; the header is line 1, entry k line k + 1.
    const auto lineOf = [&](size_t at) {
        return std::to_string(
            std::count(whole.begin(), whole.begin() + static_cast<long>(at), '\n') + 1);
    };
    const size_t lines = static_cast<size_t>(std::count(whole.begin(), whole.end(), '\n'));
    const std::string finishRequest = "R00CABMAAgAcBAAA";
    const struct {
        const char* name;
        std::string text;
        std::string message;
    } cases[] = {
        {"empty", "", "is empty: not a trace"},
        {"foreign", "{\"a\": 1}\n", "not a trace: its first line is no vxsensor-trace header"},
        {"newer", replaced("\"version\":1", "\"version\":2"),
         "trace format version 2; this build reads version 1"},
        {"cut", whole.substr(0, whole.size() - 5),
         "is cut short: line " + std::to_string(lines) + " has no end"},
        {"lost-lines", whole.substr(0, whole.rfind('\n', whole.size() - 2) + 1),
         "is cut short: " + std::to_string(lines - 2) + " of its " + std::to_string(lines - 1) +
             " entries are there"},
        {"answer-byte", replaced("UkIBABMAAgAAAA==", "UkIBABMAAgABAA=="),
         "is damaged: its entries do not match the header's checksum"},
        {"not-json", whole.substr(0, second) + "{\"call\"\n" + whole.substr(second),
         "line 2 is not JSON"},
        {"deep", whole.substr(0, second) + std::string(50, '[') + "\n" + whole.substr(second),
         "line 2 nests deeper than a trace"},
        {"bad-base64", replaced(finishRequest, "R00CABMAAgAcBA=A"),
         "line " + lineOf(whole.find(finishRequest)) + ": \"request\" is not base64"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        try {
            vxsim::ReplayCamera camera(written(c.name, c.text));
            ADD_FAILURE() << "replayed";
        } catch (const std::runtime_error& e) {
            EXPECT_THAT(e.what(), HasSubstr(c.message));
        }
    }
}

}  // namespace
