// The one place that calls the host SDK's log sink.
#include "common/LogExt.h"

namespace libvxsensor {

void log_message(VXLogSeverity severity, const source_code_loc& location, const std::string& text) {
    vx_error* error = nullptr;
    vx_log_external_message(severity, kLogModule, text.c_str(), location.file, location.function,
                            location.line, &error);
    if (error != nullptr) {
        vx_delete_error(error);
    }
}

}  // namespace libvxsensor
