// Process-wide host state: the log sink, failure switches, call and live-object counts.
#include <cstddef>

#include "vxsim/Emulator.h"

namespace vxsim {
namespace {

size_t indexOf(HostCall call) {
    return static_cast<size_t>(call);
}

const char* severityName(VXLogSeverity severity) {
    switch (severity) {
        case VX_LOG_SEVERITY_DEBUG:
            return "DEBUG";
        case VX_LOG_SEVERITY_INFO:
            return "INFO";
        case VX_LOG_SEVERITY_WARN:
            return "WARN";
        case VX_LOG_SEVERITY_ERROR:
            return "ERROR";
        case VX_LOG_SEVERITY_FATAL:
            return "FATAL";
        case VX_LOG_SEVERITY_OFF:
            return "OFF";
    }
    return "?";
}

}  // namespace

const char* hostCallName(HostCall call) {
    switch (call) {
        case HostCall::GetDeviceInfo:
            return "vx_device_get_device_info";
        case HostCall::InfoGetVid:
            return "vx_device_info_get_vid";
        case HostCall::InfoGetPid:
            return "vx_device_info_get_pid";
        case HostCall::InfoGetConnectionType:
            return "vx_device_info_get_connection_type";
        case HostCall::InfoGetFirmwareVersion:
            return "vx_device_info_get_firmware_version";
        case HostCall::DeleteDeviceInfo:
            return "vx_delete_device_info";
        case HostCall::SendAndReceive:
            return "vx_device_send_and_receive_data";
        case HostCall::GetStructuredData:
            return "vx_device_get_structured_data";
        case HostCall::GetExtensionInfo:
            return "vx_device_get_extension_info";
        case HostCall::LogExternalMessage:
            return "vx_log_external_message";
    }
    return "unknown host call";
}

Host& Host::instance() {
    static Host host;
    return host;
}

void Host::setLogEcho(std::FILE* out, VXLogSeverity minSeverity) {
    echo_ = out;
    echoMin_ = minSeverity;
}

void Host::failCall(HostCall call, Failure failure) {
    Switch& sw = switches_[indexOf(call)];
    sw.failure = std::move(failure);
    sw.seen = 0;
}

void Host::clearFailures() {
    for (Switch& sw : switches_) sw = Switch{};
}

uint64_t Host::callCount(HostCall call) const {
    return calls_[indexOf(call)];
}

void Host::reset() {
    logLines_.clear();
    clearFailures();
    for (uint64_t& count : calls_) count = 0;
    journal_.clear();
    journalOn_ = false;
}

const Failure* Host::enter(HostCall call) {
    journal(hostCallName(call));
    const size_t index = indexOf(call);
    ++calls_[index];
    Switch& sw = switches_[index];
    if (!sw.failure) return nullptr;
    const uint64_t position = ++sw.seen;  // 1-based among calls since arming
    const Failure& failure = *sw.failure;
    if (position <= failure.skip) return nullptr;
    if (failure.count != 0 && position > uint64_t{failure.skip} + failure.count) return nullptr;
    return &failure;
}

void Host::addLogLine(LogLine line) {
    // OFF is a threshold, not a severity: with it as the minimum nothing is echoed.
    if (echo_ != nullptr && echoMin_ != VX_LOG_SEVERITY_OFF && line.severity >= echoMin_) {
        std::fprintf(echo_, "[%s] %s %s: %s (%s:%d)\n", severityName(line.severity),
                     line.module.c_str(), line.function.c_str(), line.message.c_str(),
                     line.file.c_str(), line.line);
        std::fflush(echo_);
    }
    logLines_.push_back(std::move(line));
}

}  // namespace vxsim
