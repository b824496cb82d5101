// nanosleep() in the emulator's library: instant while virtual time is on, the C library's
// otherwise.
#include "vxsim/Clock.h"

#include <dlfcn.h>
#include <time.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> g_virtual{false};
std::atomic<long long> g_nanoseconds{0};

using NanosleepFn = int (*)(const timespec*, timespec*);

NanosleepFn realNanosleep() {
    static const auto real = reinterpret_cast<NanosleepFn>(::dlsym(RTLD_NEXT, "nanosleep"));
    return real;
}

}  // namespace

namespace vxsim {

void setVirtualTime(bool on) {
    g_nanoseconds = 0;
    g_virtual = on;
}

bool virtualTime() {
    return g_virtual;
}

double virtualSeconds() {
    return static_cast<double>(g_nanoseconds.load()) / 1e9;
}

}  // namespace vxsim

extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* wanted,
                                                                timespec* left) {
    if (!g_virtual.load()) {
        const NanosleepFn real = realNanosleep();
        if (real == nullptr) {
            errno = ENOSYS;
            return -1;
        }
        return real(wanted, left);
    }
    if (wanted == nullptr || wanted->tv_nsec < 0 || wanted->tv_nsec >= 1000000000L) {
        errno = EINVAL;
        return -1;
    }
    g_nanoseconds += static_cast<long long>(wanted->tv_sec) * 1000000000LL + wanted->tv_nsec;
    if (left != nullptr) *left = timespec{0, 0};
    return 0;
}
