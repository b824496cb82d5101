// The recording host: host functions that hand every call on to the next host (a device plugin's,
// or the host library behind a preloaded recorder) and write it to a trace on the way back. It
// adds no call and changes no answer: when the trace cannot be written it says so once on stderr
// and the program goes on unrecorded. Shared by `vxfw --record` and libvxsensor_record.so.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vxsensor/vx_device_plugin.h"
#include "vxtrace/Trace.h"

namespace vxtrace {

class Recorder {
public:
    // Starts recording into `path` (TraceError when it cannot be created). One recorder at a
    // time: its host functions are plain C functions and find it through a process-wide pointer.
    Recorder(const vx_host_functions& next, const std::string& path);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    // The host functions to call instead of `next`'s.
    const vx_host_functions& host() const { return host_; }
    const vx_host_functions& next() const { return next_; }

    // A device-group registration the program made (vx_set_device_info_data), for the header.
    void deviceGroup(uint16_t group, const uint8_t* records, uint32_t size);

    // Writes the trace; later calls pass through unrecorded. TraceError when the trace could not
    // be written, now or earlier.
    void finish(Header header, const std::vector<EmbeddedFile>& files = {});

    // Used by the host functions.
    void record(const Entry& entry);

private:
    vx_host_functions next_;
    vx_host_functions host_;
    std::mutex mutex_;  // an application may update from a thread of its own
    std::unique_ptr<TraceWriter> writer_;
    std::string failure_;
    std::vector<std::pair<uint16_t, std::vector<uint8_t>>> groups_;
};

}  // namespace vxtrace
