// The library's one sleep.
#include "common/Sleep.h"

#include <cerrno>
#include <ctime>

namespace libvxsensor {

namespace {
SleepHook g_hook = nullptr;
}

void sleepMilliseconds(uint32_t milliseconds) {
    if (g_hook != nullptr) {
        g_hook(milliseconds);
        return;
    }
    timespec wanted{static_cast<time_t>(milliseconds / 1000),
                    static_cast<long>(milliseconds % 1000) * 1000000L};
    timespec left{};
    // A signal may cut the sleep short; the rest is slept so a poll pause keeps its length.
    while (nanosleep(&wanted, &left) != 0 && errno == EINTR) {
        wanted = left;
    }
}

SleepHook setSleepHook(SleepHook hook) {
    const SleepHook previous = g_hook;
    g_hook = hook;
    return previous;
}

}  // namespace libvxsensor
