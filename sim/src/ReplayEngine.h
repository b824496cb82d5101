// What a replay camera does for each host function (vxsim/Replay.h): the emulator's host
// functions hand a replay camera's calls, and those on its info objects, to its engine.
#pragma once

#include <optional>
#include <string>

#include "HostObjects.h"
#include "vxtrace/Trace.h"

namespace vxsim {

class ReplayEngine {
public:
    ReplayEngine(vxtrace::Trace trace, std::string name);

    const vxtrace::Header& header() const { return trace_.header; }
    uint64_t served() const { return next_; }
    uint64_t entries() const { return trace_.entries.size(); }
    bool diverged() const { return divergence_.has_value(); }
    // No divergence, and every recorded call with the camera served.
    bool finished() const;
    std::string report() const;

    vx_device_info* deviceInfo(vx_error** error);
    int number(vxtrace::Call call, vx_error** error);
    const char* infoText(vxtrace::Call call, vx_device_info* info, vx_error** error);
    void deleteInfo(vx_device_info* info, vx_error** error);
    void send(const uint8_t* request, uint32_t size, uint8_t* answer, uint32_t* answerSize,
              vx_error** error);
    void structured(uint32_t property, uint8_t* data, uint32_t* size, vx_error** error);
    const char* extensionInfo(const char* key, vx_error** error);

private:
    // The recorded entry when `seen` is the call it recorded, then its recorded failure applied
    // (nullptr when the call failed, an exception when it threw); nullptr and a host error when
    // the replay diverges here or did before.
    const vxtrace::Entry* serve(const vxtrace::Entry& seen, vx_error** error);
    bool same(const vxtrace::Entry& expected, const vxtrace::Entry& seen);
    const vxtrace::Entry* answer(const vxtrace::Entry& recorded, vx_error** error);
    static bool isIdentity(vxtrace::Call call);

    struct Divergence {
        size_t index = 0;  // of the expected entry, from 0
        vxtrace::Entry seen;
    };

    vxtrace::Trace trace_;
    std::string name_;
    size_t next_ = 0;
    std::optional<uint16_t> idShift_;  // seen request id minus recorded, fixed by the first send
    std::optional<Divergence> divergence_;
    std::string extensionText_;
};

}  // namespace vxsim
