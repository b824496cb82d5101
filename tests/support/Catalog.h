// A fixture for tests against catalog cameras through the exported C functions: the device-group
// tables filled as the host fills them at start-up, and emptied again afterwards, with the helpers
// those tests share.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "DevicePidAndMap.h"
#include "common/Sleep.h"
#include "support/SimTest.h"
#include "support/Upgrade.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Models.h"

class CatalogTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        for (const auto& [group, records] : vxsim::groupRecords()) {
            vx_error* error = nullptr;
            vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                    &error);
            ASSERT_EQ(error, nullptr);
        }
    }
    void TearDown() override {
        libvxsensor::setSleepHook(nullptr);
        libvxsensor::resetDeviceGroupTables();
        SimTest::TearDown();
    }

    static void update(vxsim::EmulatedCamera& cam, const std::vector<uint8_t>& file,
                       UpgradeRecorder& r) {
        vx_device_update_firmware_from_raw_data_ext(cam.handle(), file.data(),
                                                    static_cast<uint32_t>(file.size()),
                                                    UpgradeRecorder::record, false, &r, &r.error);
    }
    static bool inFlash(vxsim::EmulatedCamera& cam, uint32_t address,
                        const std::vector<uint8_t>& data) {
        return std::equal(data.begin(), data.end(),
                          cam.camera().flash().begin() + static_cast<std::ptrdiff_t>(address));
    }
    // The requests of `opcode` the camera received, in order.
    static std::vector<vxsim::wire::Request> requests(vxsim::EmulatedCamera& cam, uint16_t opcode) {
        std::vector<vxsim::wire::Request> out;
        for (const vxsim::Exchange& e : cam.device().exchanges()) {
            const auto request = vxsim::wire::parseRequest(e.request);
            if (request && request->opcode == opcode) out.push_back(*request);
        }
        return out;
    }
    // Image bytes in the largest flash write on the wire (its payload starts with the offset).
    static size_t largestWrite(vxsim::EmulatedCamera& cam) {
        size_t largest = 0;
        for (const vxsim::wire::Request& request : requests(cam, vxsim::wire::WriteFlash))
            largest = std::max(largest, request.payload.size() - 4);
        return largest;
    }
    static std::vector<uint8_t> bytes(size_t size, uint8_t seed) {
        std::vector<uint8_t> out(size);
        std::iota(out.begin(), out.end(), seed);
        return out;
    }
};
