// Shared utilities.
#include "common/Utils.h"

#include <stdexcept>
#include <string>

#include "common/LogExt.h"

namespace libvxsensor {

namespace {
const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }
}  // namespace

void check_vx_error(vx_error** error) {
    if (error == nullptr || *error == nullptr) {
        return;
    }
    const std::string where = orEmpty(vx_error_get_function(*error));
    const std::string message = orEmpty(vx_error_get_message(*error));
    log_ext(VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC,
            "Execute failure! An error has occurred!\n - where: {}\n - msg: {}", where, message);
    vx_delete_error(*error);
    throw std::runtime_error(message);
}

}  // namespace libvxsensor
