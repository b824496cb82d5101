// Logging through the host SDK's log sink: the library has no log files or levels of its own.
// Every line carries the module tag "SDKExt" and the call site's position.
#pragma once

#include <fmt/format.h>

#include <string>

#include "vxsensor/vx_host.h"

namespace libvxsensor {

struct source_code_loc {
    const char* file;
    int line;
    const char* function;
};

#define VX_SOURCE_LOC                \
    ::libvxsensor::source_code_loc { \
        __FILE__, __LINE__, __func__ \
    }

inline constexpr const char* kLogModule = "SDKExt";

// Hands one finished line to the sink. A sink error object is deleted and ignored: logging
// never reports failure to its caller.
void log_message(VXLogSeverity severity, const source_code_loc& location, const std::string& text);

template <typename... Args>
void log_ext(VXLogSeverity severity, source_code_loc location, fmt::format_string<Args...> format,
             Args&&... args) {
    log_message(severity, location, fmt::vformat(format, fmt::make_format_args(args...)));
}

}  // namespace libvxsensor
