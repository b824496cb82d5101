// Records what an update reports through the upgrade callback, and the error object it leaves.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "vxsensor/vx_host.h"
#include "vxsim/Emulator.h"

using UpgradeReport = std::tuple<int, std::string, int>;  // state, message, percent

struct UpgradeRecorder {
    std::vector<UpgradeReport> reports;
    vx_error* error = nullptr;

    static void record(VXUpgradeState state, const char* message, uint8_t percent, void* self) {
        static_cast<UpgradeRecorder*>(self)->reports.emplace_back(
            static_cast<int>(state), message != nullptr ? message : "", static_cast<int>(percent));
    }
    ~UpgradeRecorder() { vx_delete_error(error); }

    // Reports with a negative state.
    std::vector<UpgradeReport> failures() const {
        std::vector<UpgradeReport> out;
        for (const auto& r : reports)
            if (std::get<0>(r) < 0) out.push_back(r);
        return out;
    }
    const UpgradeReport& last() const { return reports.back(); }

    void expectError(const std::string& message, const std::string& function, int type) const {
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(vx_error_get_message(error), message);
        EXPECT_EQ(vx_error_get_function(error), function);
        EXPECT_EQ(vxsim::errorExceptionType(error), type);
        EXPECT_EQ(vxsim::errorStatus(error), 1);
    }
};
