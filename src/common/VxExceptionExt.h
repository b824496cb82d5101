// The library's exception family. Inside the library every failure is an exception; the class
// (not the category field) decides which progress state the C boundary reports for it.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "common/LogExt.h"

namespace libvxsensor {

enum ExceptionExtType : int32_t {
    EXT_ERROR_GENERIC = 0,
    EXT_ERROR_UNSUPPORTED_DEVICE = 1,
    EXT_ERROR_MISMATCH_FIRMWARE = 2,
    EXT_ERROR_INVALID_PRESET_COUNT = 4,
    EXT_ERROR_INVALID_CONNECTION_TYPE = 5,
    EXT_ERROR_UNSUPPORTED_OPERATION = 6,
};

// Logs the message of a new exception at warning severity. The message is format text (braces in
// it are interpreted); it never throws: a sink that throws ends the process.
void logExceptionMessage(const std::string& message, const source_code_loc& location) noexcept;

class libvxsensor_exception_ext : public std::exception {
public:
    libvxsensor_exception_ext(const std::string& message, ExceptionExtType type)
        : message_(message), type_(type) {
        logExceptionMessage(message_, {__FILE__, __LINE__, "libvxsensor_exception_ext"});
    }
    ~libvxsensor_exception_ext() override = default;

    const char* what() const noexcept override { return message_.c_str(); }
    ExceptionExtType type() const noexcept { return type_; }

private:
    std::string message_;
    ExceptionExtType type_;
};

// The derived classes only fix the category; the class is what the C boundary looks at.
class unsupported_device_exception_ext : public libvxsensor_exception_ext {
public:
    explicit unsupported_device_exception_ext(const std::string& message)
        : libvxsensor_exception_ext(message, EXT_ERROR_UNSUPPORTED_DEVICE) {}
};

class mismatch_firmware_exception_ext : public libvxsensor_exception_ext {
public:
    explicit mismatch_firmware_exception_ext(const std::string& message)
        : libvxsensor_exception_ext(message, EXT_ERROR_MISMATCH_FIRMWARE) {}
};

class invalid_preset_count_ext : public libvxsensor_exception_ext {
public:
    explicit invalid_preset_count_ext(const std::string& message)
        : libvxsensor_exception_ext(message, EXT_ERROR_INVALID_PRESET_COUNT) {}
};

class invalid_connection_type_ext : public libvxsensor_exception_ext {
public:
    explicit invalid_connection_type_ext(const std::string& message)
        : libvxsensor_exception_ext(message, EXT_ERROR_INVALID_CONNECTION_TYPE) {}
};

class unsupported_operation_exception_ext : public libvxsensor_exception_ext {
public:
    explicit unsupported_operation_exception_ext(const std::string& message)
        : libvxsensor_exception_ext(message, EXT_ERROR_UNSUPPORTED_OPERATION) {}
};

}  // namespace libvxsensor
