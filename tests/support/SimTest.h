// A test fixture that starts every test with a clean emulated host: no log lines, no failure
// switches, and live-object counts taken as the baseline for leak checks. Also the small helpers
// every kind of test uses: counting bytes and files in the temporary directory.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Scratch.h"
#include "vxsim/Emulator.h"
#include "vxsim/Wire.h"

// `size` bytes counting up from `seed`.
inline std::vector<uint8_t> bytes(size_t size, uint8_t seed) {
    std::vector<uint8_t> out(size);
    std::iota(out.begin(), out.end(), seed);
    return out;
}

// A file in the process's scratch directory, removed when the object goes.
struct TempFile {
    std::string path;
    TempFile(const std::string& name, const std::vector<uint8_t>& content)
        : path(scratchDir() + name) {
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
    }
    ~TempFile() { std::remove(path.c_str()); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
};

class SimTest : public ::testing::Test {
protected:
    void SetUp() override {
        host().reset();
        errorsAtStart_ = host().liveErrors();
        infosAtStart_ = host().liveDeviceInfos();
    }

    void TearDown() override {
        EXPECT_EQ(host().liveErrors(), errorsAtStart_) << "host error objects leaked";
        EXPECT_EQ(host().liveDeviceInfos(), infosAtStart_) << "device-information objects leaked";
    }

    static vxsim::Host& host() { return vxsim::Host::instance(); }

    // Log lines whose message contains `needle`.
    static std::vector<vxsim::LogLine> logLinesWith(const std::string& needle) {
        std::vector<vxsim::LogLine> found;
        for (const vxsim::LogLine& line : host().logLines()) {
            if (line.message.find(needle) != std::string::npos) {
                found.push_back(line);
            }
        }
        return found;
    }

    // A device whose answers come from `handler`.
    static void script(vxsim::Device& device, vxsim::FunctionResponder::Handler handler) {
        device.setResponder(std::make_shared<vxsim::FunctionResponder>(std::move(handler)));
    }

    // A device answer of `bytes` that reports `reported` as the received length when given.
    static vxsim::Reply reply(std::vector<uint8_t> bytes, std::optional<uint32_t> reported = {}) {
        vxsim::Reply out;
        out.bytes = std::move(bytes);
        out.reportedLength = reported;
        return out;
    }

    // For EXPECT_THAT on a callable: it throws a runtime error whose what() is `message`.
    static auto failsWith(const std::string& message) {
        return ::testing::ThrowsMessage<std::runtime_error>(::testing::StrEq(message));
    }

private:
    int errorsAtStart_ = 0;
    int infosAtStart_ = 0;
};
