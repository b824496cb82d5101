// Every wait of the library (retry pauses, status polls) goes through here, so tests replace it
// and a ten-minute timeout is tested in milliseconds.
#pragma once

#include <cstdint>

namespace libvxsensor {

void sleepMilliseconds(uint32_t milliseconds);

using SleepHook = void (*)(uint32_t milliseconds);
// Installs a replacement for the real sleep (nullptr restores it); returns the previous one.
SleepHook setSleepHook(SleepHook hook);

}  // namespace libvxsensor
