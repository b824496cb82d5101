// A virtual clock for tests of programs that use the extension: the library pauses between the
// status polls of a camera that installs its own update (half a second each, up to ten minutes
// for a camera that never finishes). With virtual time on, those pauses return at once and only
// add up, so a test of a ten-minute timeout takes milliseconds, with the production library
// unchanged:
//
//   vxsim::setVirtualTime(true);
//   vx_device_update_firmware_ext(cam->handle(), path, onProgress, false, &seen, &error);
//   EXPECT_EQ(vxsim::virtualSeconds(), 600.0);   // what the camera was waited for
//
// It works by standing in for nanosleep() in the process (the emulator's library comes before the
// C library in the link order of a program that links both); with virtual time off, nanosleep
// sleeps as ever. Pauses of every thread count, so tests should not run other sleepers meanwhile.
#pragma once

namespace vxsim {

void setVirtualTime(bool on);
bool virtualTime();
// Seconds the pauses would have taken since virtual time was last turned on.
double virtualSeconds();

}  // namespace vxsim
