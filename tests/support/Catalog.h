// Tests against catalog cameras through the exported C functions: the device-group tables filled
// as the host fills them at start-up (and emptied afterwards), and the helpers those tests share
// to run an operation and to look at what reached the camera.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "DevicePidAndMap.h"
#include "common/Sleep.h"
#include "firmware/L840FirmwareParser.h"
#include "support/SimTest.h"
#include "support/Upgrade.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Models.h"

inline void fillGroupTables() {
    for (const auto& [group, records] : vxsim::groupRecords()) {
        vx_error* error = nullptr;
        vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                &error);
        ASSERT_EQ(error, nullptr);
    }
}

// An L840 container: a boot component for every device, then a main component for the L840 only.
inline std::vector<uint8_t> bootAndMain() {
    using R = libvxsensor::L840RecordWriter;
    return libvxsensor::L840ContainerWriter()
        .serial("Lumex 840")
        .component(R().name("boot").address(0x10000).data(bytes(600, 1)))
        .component(R().name("main").address(0x100000).data(bytes(1500, 9)).pids({0x0800}))
        .write();
}

inline void update(vxsim::EmulatedCamera& cam, const std::vector<uint8_t>& file, UpgradeRecorder& r,
                   bool withCallback = true) {
    vx_device_update_firmware_from_raw_data_ext(
        cam.handle(), file.data(), static_cast<uint32_t>(file.size()),
        withCallback ? UpgradeRecorder::record : nullptr, false, &r, &r.error);
}

// The preset entry point with `paths` as given, then `files` written out.
inline void upload(vxsim::EmulatedCamera& cam, const std::vector<std::vector<uint8_t>>& files,
                   UpgradeRecorder& r, std::vector<std::string> paths = {},
                   bool withCallback = true) {
    std::vector<std::unique_ptr<TempFile>> written;
    for (const std::vector<uint8_t>& file : files) {
        written.push_back(
            std::make_unique<TempFile>("preset-" + std::to_string(written.size()), file));
        paths.push_back(written.back()->path);
    }
    std::vector<std::array<char, 1024>> slots(paths.size());
    for (size_t i = 0; i < paths.size(); ++i) std::strncpy(slots[i].data(), paths[i].c_str(), 1023);
    vx_device_update_optional_depth_presets_ext(
        cam.handle(), reinterpret_cast<const char(*)[1024]>(slots.data()),
        static_cast<uint8_t>(slots.size()), withCallback ? UpgradeRecorder::record : nullptr, &r,
        &r.error);
}

inline bool inFlash(vxsim::EmulatedCamera& cam, uint32_t address,
                    const std::vector<uint8_t>& data) {
    return std::equal(data.begin(), data.end(),
                      cam.camera().flash().begin() + static_cast<std::ptrdiff_t>(address));
}

// The requests of `opcode` the camera received, in order.
inline std::vector<vxsim::wire::Request> requests(vxsim::EmulatedCamera& cam, uint16_t opcode) {
    std::vector<vxsim::wire::Request> out;
    for (const vxsim::Exchange& e : cam.device().exchanges()) {
        const auto request = vxsim::wire::parseRequest(e.request);
        if (request && request->opcode == opcode) out.push_back(*request);
    }
    return out;
}

// The opcode of every request, in order.
inline std::vector<int> opcodes(vxsim::EmulatedCamera& cam) {
    std::vector<int> out;
    for (const vxsim::Exchange& e : cam.device().exchanges())
        out.push_back(vxsim::wire::parseRequest(e.request)->opcode);
    return out;
}

// Image bytes in each flash write on the wire (its payload starts with the offset).
inline std::vector<size_t> writeSizes(vxsim::EmulatedCamera& cam) {
    std::vector<size_t> out;
    for (const vxsim::wire::Request& r : requests(cam, vxsim::wire::WriteFlash))
        out.push_back(r.payload.size() - 4);
    return out;
}

inline size_t largestWrite(vxsim::EmulatedCamera& cam) {
    const std::vector<size_t> sizes = writeSizes(cam);
    return sizes.empty() ? 0 : *std::max_element(sizes.begin(), sizes.end());
}

// The `nth` request of `opcode` gets a well-formed answer with only four data bytes: a camera
// that sends less than was asked for, which no fault of the plan produces.
inline void shortAnswer(vxsim::EmulatedCamera& cam, uint16_t opcode, int nth) {
    auto seen = std::make_shared<int>(0);
    cam.device().setResponder(std::make_shared<vxsim::FunctionResponder>(
        [camera = cam.sharedCamera(), opcode, nth, seen](const std::vector<uint8_t>& bytes,
                                                         uint32_t capacity) {
            const auto request = vxsim::wire::parseRequest(bytes);
            if (request && request->opcode == opcode && (*seen)++ == nth)
                return vxsim::wire::okReply(*request, {1, 2, 3, 4});
            return camera->exchange(bytes, capacity);
        }));
}

class CatalogTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        fillGroupTables();
    }
    void TearDown() override {
        libvxsensor::setSleepHook(nullptr);
        libvxsensor::resetDeviceGroupTables();
        SimTest::TearDown();
    }
};
