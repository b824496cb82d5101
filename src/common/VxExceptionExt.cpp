// Logging of exception messages, kept out of the header so the family stays light to include.
#include "common/VxExceptionExt.h"

namespace libvxsensor {

void logExceptionMessage(const std::string& message, const source_code_loc& location) noexcept {
    std::string text;
    try {
        text = fmt::vformat(message, fmt::format_args());
    } catch (const fmt::format_error&) {
        // Messages carry text from files and devices; a stray brace must not turn a clean
        // refusal into a crash, so such a message is logged as it stands.
        text = message;
    }
    // An exception from the sink leaves this noexcept function and ends the process: a second
    // exception while one is being built would hide the first.
    log_message(VX_LOG_SEVERITY_WARN, location, text);
}

}  // namespace libvxsensor
