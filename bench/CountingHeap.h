// Heap accounting for the benchmark binary: global operator new and delete are replaced there
// (and only there), and every block is booked to the library side or to the emulated device,
// so that the peak the library reaches during an update is not mixed with what the virtual
// camera stores of what it receives.
#pragma once

#include <cstddef>

namespace vxbench::heap {

// Blocks allocated while a DeviceSide guard lives are booked to the device.
class DeviceSide {
public:
    DeviceSide();
    ~DeviceSide();
    DeviceSide(const DeviceSide&) = delete;
    DeviceSide& operator=(const DeviceSide&) = delete;

private:
    bool previous_;
};

// Bytes the library side holds now, and the most it held since the last resetPeak().
size_t libraryLive();
size_t libraryPeak();
void resetPeak();

}  // namespace vxbench::heap
