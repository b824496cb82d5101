// The host SDK's C functions as the emulator plays them: each consults its failure switch, then
// answers from the emulated Device and its responder, and records what the caller saw.
#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "HostObjects.h"
#include "ReplayEngine.h"
#include "vxsim/Emulator.h"
#include "vxsim/Replay.h"

using vxsim::Device;
using vxsim::Exchange;
using vxsim::Failure;
using vxsim::Host;
using vxsim::HostCall;
using vxtrace::Call;

namespace {

const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

vx_error* makeError(int status, const char* message, const char* function, const char* args,
                    int exceptionType) {
    auto* error =
        new vx_error{status, orEmpty(message), orEmpty(function), orEmpty(args), exceptionType};
    Host::instance().objectCreated(true);
    return error;
}

// Callers may pass a null error pointer when they do not care; then nothing is reported.
void report(vx_error** error, const std::string& message, const char* function) {
    if (error != nullptr) *error = makeError(1, message.c_str(), function, "", 0);
}

// Applies the call's failure switch. Returns false when the call must stop without its work.
bool admit(HostCall call, vx_error** error) {
    const Failure* failure = Host::instance().enter(call);
    if (failure == nullptr) return true;
    if (failure->throwInstead) throw std::runtime_error(failure->message);
    report(error, failure->message, vxsim::hostCallName(call));
    return false;
}

const vx_device_info* admitInfo(const vx_device_info* info, HostCall call, vx_error** error) {
    if (!admit(call, error)) return nullptr;
    if (info == nullptr) report(error, "Invalid device info", vxsim::hostCallName(call));
    return info;
}

Device* admitDevice(vx_device_t* device, HostCall call, vx_error** error) {
    if (!admit(call, error)) return nullptr;
    Device* emulated = Device::fromHandle(device);
    if (emulated == nullptr) report(error, "Invalid device handle", vxsim::hostCallName(call));
    return emulated;
}

// A failed exchange is recorded like a good one, so tests see the request that provoked it.
void failExchange(Device* device, Exchange exchange, const std::string& message, bool throwIt,
                  vx_error** error) {
    exchange.transportError = true;
    exchange.errorMessage = message;
    if (device != nullptr) device->record(std::move(exchange));
    if (throwIt) throw std::runtime_error(message);
    report(error, message, vxsim::hostCallName(HostCall::SendAndReceive));
}

// A replay camera answers from its trace, for itself and for its info objects.
vxsim::ReplayEngine* replayOf(vx_device_t* device) {
    vxsim::ReplayCamera* camera = vxsim::ReplayCamera::fromHandle(device);
    return camera != nullptr ? &camera->engine() : nullptr;
}

vxsim::ReplayEngine* replayOf(const vx_device_info* info) {
    return info != nullptr ? info->replay : nullptr;
}

}  // namespace

namespace vxsim::host {

vx_error* newError(const std::string& message, const std::string& function) {
    return makeError(1, message.c_str(), function.c_str(), "", 0);
}

vx_device_info* newInfo() {
    Host::instance().objectCreated(false);
    return new vx_device_info{};
}

void deleteInfo(vx_device_info* info) {
    if (info == nullptr) return;
    delete info;
    Host::instance().objectDeleted(false);
}

}  // namespace vxsim::host

namespace vxsim {

int errorStatus(const vx_error* error) {
    return error != nullptr ? error->status : 0;
}

int errorExceptionType(const vx_error* error) {
    return error != nullptr ? error->exceptionType : 0;
}

const char* errorArgs(const vx_error* error) {
    return error != nullptr ? error->args.c_str() : "";
}

}  // namespace vxsim

extern "C" {

vx_device_info* vx_device_get_device_info(vx_device_t* device, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(device)) return replay->deviceInfo(error);
    Device* emulated = admitDevice(device, HostCall::GetDeviceInfo, error);
    if (emulated == nullptr) return nullptr;
    const vxsim::Identity& id = emulated->identity();
    vx_device_info* info = vxsim::host::newInfo();
    *info = vx_device_info{id.vid, id.pid, id.connectionType, id.firmwareVersion, nullptr};
    return info;
}

int vx_device_info_get_vid(const vx_device_info* info, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(info)) return replay->number(Call::Vid, error);
    const vx_device_info* checked = admitInfo(info, HostCall::InfoGetVid, error);
    return checked != nullptr ? checked->vid : 0;
}

int vx_device_info_get_pid(const vx_device_info* info, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(info)) return replay->number(Call::Pid, error);
    const vx_device_info* checked = admitInfo(info, HostCall::InfoGetPid, error);
    return checked != nullptr ? checked->pid : 0;
}

const char* vx_device_info_get_connection_type(const vx_device_info* info, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(info)) {
        return replay->infoText(Call::ConnectionType, const_cast<vx_device_info*>(info), error);
    }
    const vx_device_info* checked = admitInfo(info, HostCall::InfoGetConnectionType, error);
    return checked != nullptr ? checked->connectionType.c_str() : nullptr;
}

const char* vx_device_info_get_firmware_version(const vx_device_info* info, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(info)) {
        return replay->infoText(Call::FirmwareVersion, const_cast<vx_device_info*>(info), error);
    }
    const vx_device_info* checked = admitInfo(info, HostCall::InfoGetFirmwareVersion, error);
    return checked != nullptr ? checked->firmwareVersion.c_str() : nullptr;
}

void vx_delete_device_info(vx_device_info* info, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(info)) return replay->deleteInfo(info, error);
    // An injected failure still frees the object: the caller has no second chance to release
    // it, so a leak here would be the host's, not the caller's. Like delete, null is accepted.
    const bool admitted = admit(HostCall::DeleteDeviceInfo, error);
    vxsim::host::deleteInfo(info);
    (void)admitted;
}

void vx_device_send_and_receive_data(vx_device_t* device, const uint8_t* send_data,
                                     uint32_t send_data_size, uint8_t* receive_data,
                                     uint32_t* receive_data_size, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(device)) {
        return replay->send(send_data, send_data_size, receive_data, receive_data_size, error);
    }
    Exchange exchange;
    if (send_data != nullptr) exchange.request.assign(send_data, send_data + send_data_size);
    // Without a buffer nothing can be received, whatever size the caller claims.
    const bool canReceive = receive_data != nullptr && receive_data_size != nullptr;
    exchange.capacity = canReceive ? *receive_data_size : 0;
    Device* emulated = Device::fromHandle(device);

    if (const Failure* failure = Host::instance().enter(HostCall::SendAndReceive)) {
        const Failure injected = *failure;
        return failExchange(emulated, std::move(exchange), injected.message, injected.throwInstead,
                            error);
    }
    if (emulated == nullptr) {
        return report(error, "Invalid device handle",
                      vxsim::hostCallName(HostCall::SendAndReceive));
    }
    vxsim::Responder* responder = emulated->responder();
    if (responder == nullptr) {
        return failExchange(emulated, std::move(exchange), "No device connected", false, error);
    }

    const vxsim::Reply reply = responder->exchange(exchange.request, exchange.capacity);
    if (reply.hostThrows || reply.transportError) {
        return failExchange(emulated, std::move(exchange), reply.errorMessage, reply.hostThrows,
                            error);
    }
    // The device may send more than was offered; the host never writes past the buffer.
    const size_t written = std::min<size_t>(reply.bytes.size(), exchange.capacity);
    const auto end = reply.bytes.begin() + static_cast<std::ptrdiff_t>(written);
    if (written > 0) std::copy(reply.bytes.begin(), end, receive_data);
    exchange.response.assign(reply.bytes.begin(), end);
    exchange.reportedLength = reply.reportedLength.value_or(static_cast<uint32_t>(written));
    if (receive_data_size != nullptr) *receive_data_size = exchange.reportedLength;
    emulated->record(std::move(exchange));
}

void vx_device_get_structured_data(vx_device_t* device, uint32_t property_id, uint8_t* data,
                                   uint32_t* data_size, vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(device)) {
        return replay->structured(property_id, data, data_size, error);
    }
    Device* emulated = admitDevice(device, HostCall::GetStructuredData, error);
    if (emulated == nullptr) return;
    std::vector<uint8_t> out;
    vxsim::Responder* responder = emulated->responder();
    if (responder == nullptr || !responder->structuredData(property_id, out)) {
        return report(error, "Structured data not available: " + std::to_string(property_id),
                      vxsim::hostCallName(HostCall::GetStructuredData));
    }
    const uint32_t capacity = data != nullptr && data_size != nullptr ? *data_size : 0;
    const size_t copied = std::min<size_t>(out.size(), capacity);
    if (copied > 0) {
        std::copy(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(copied), data);
    }
    if (data_size != nullptr) *data_size = static_cast<uint32_t>(copied);
}

const char* vx_device_get_extension_info(vx_device_t* device, const char* info_key,
                                         vx_error** error) {
    if (vxsim::ReplayEngine* replay = replayOf(device))
        return replay->extensionInfo(info_key, error);
    Device* emulated = admitDevice(device, HostCall::GetExtensionInfo, error);
    if (emulated == nullptr) return nullptr;
    const std::string key = orEmpty(info_key);
    const auto& entries = emulated->identity().extensionInfo;
    const auto found = entries.find(key);
    if (found == entries.end()) {
        report(error, "Extension info not found: " + key,
               vxsim::hostCallName(HostCall::GetExtensionInfo));
        return nullptr;
    }
    // One text per device, replaced by the next call: the lifetime the real host promises.
    emulated->extensionInfoText() = found->second;
    return emulated->extensionInfoText().c_str();
}

vx_error* vx_create_error(int status, const char* message, const char* function, const char* args,
                          int exception_type) {
    Host::instance().journal("vx_create_error");
    return makeError(status, message, function, args, exception_type);
}

const char* vx_error_get_message(const vx_error* error) {
    Host::instance().journal("vx_error_get_message");
    return error != nullptr ? error->message.c_str() : "";
}

const char* vx_error_get_function(const vx_error* error) {
    Host::instance().journal("vx_error_get_function");
    return error != nullptr ? error->function.c_str() : "";
}

void vx_delete_error(vx_error* error) {
    Host::instance().journal("vx_delete_error");
    if (error == nullptr) return;
    delete error;
    Host::instance().objectDeleted(true);
}

void vx_log_external_message(VXLogSeverity severity, const char* module, const char* message,
                             const char* file, const char* function, int line, vx_error** error) {
    if (!admit(HostCall::LogExternalMessage, error)) return;
    Host::instance().addLogLine(vxsim::LogLine{severity, orEmpty(module), orEmpty(message),
                                               orEmpty(file), orEmpty(function), line});
}

}  // extern "C"
