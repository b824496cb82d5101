// A camera made of a recorded trace (docs/trace-format.md): a real camera's conversation played
// back to the library, strictly in order, so a report from the field becomes a test.
//
//   vxsim::ReplayCamera camera("tests/traces/l840-flash-write.trace");
//   vx_device_write_flash(camera.handle(), 0x200000, data, size, callback, false, nullptr);
//   EXPECT_TRUE(camera.matched()) << camera.report();
//
// Each host call is answered with the recorded answer when it is the recorded call: the same
// host function with the same arguments, a request byte for byte the recorded one except for its
// request id, which may differ from the recorded id by the same amount for the whole trace (ids
// are counted process-wide; the answer's id is moved by that amount too). The first call that is
// not the recorded one ends the replay: it and every later call fail with a host error, and
// report() names the entry and shows both calls, decoded and raw.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vxsim/Emulator.h"

namespace vxsim {

class ReplayEngine;

class ReplayCamera : public ::vx_device {
public:
    // std::runtime_error that says what is wrong when the file is no whole trace.
    explicit ReplayCamera(const std::string& tracePath);
    ~ReplayCamera() override;
    ReplayCamera(const ReplayCamera&) = delete;
    ReplayCamera& operator=(const ReplayCamera&) = delete;

    vx_device_t* handle() { return this; }
    static ReplayCamera* fromHandle(vx_device_t* device);

    // One line: the camera the trace was recorded on, by what and when.
    std::string describe() const;
    uint64_t entries() const;
    uint64_t served() const;
    bool diverged() const;
    // Every recorded call with the camera served in order, and no call beyond them (questions
    // about the camera's identity are answered from the trace wherever they are asked).
    bool matched() const;
    // Where the replay stands; for a divergence the entry (counted from 1), then the expected
    // and the seen call, decoded and raw.
    std::string report() const;

    // Used by the host functions; not for applications.
    ReplayEngine& engine() { return *engine_; }

private:
    std::unique_ptr<ReplayEngine> engine_;
};

}  // namespace vxsim
