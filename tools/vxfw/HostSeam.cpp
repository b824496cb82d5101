// The host functions as vxfw plays them: forwarded to the device plugin's host, with counts,
// the dry-run gate, the interrupt gate and the write bookkeeping on the way.
#include "vxfw/HostSeam.h"

#include <cstdio>
#include <string>

#include "common/ByteOrder.h"
#include "vendorcommand/Protocol.h"

// Without a plugin there is no host to make error objects; the seam keeps its own, so that the
// library's error paths still work (vxfw inspect judges files without any camera).
struct vx_error {
    std::string message;
    std::string function;
};

namespace vxfw::seam {

namespace {

using namespace libvxsensor::protocol;

const vx_host_functions* g_host = nullptr;
VXLogSeverity g_echo = VX_LOG_SEVERITY_OFF;
Totals g_totals;
bool g_dryRun = false;
std::optional<uint16_t> g_dryRunStop;
std::atomic<int> g_interrupts{0};
bool g_stoppedByInterrupt = false;
std::vector<CompletedWrite> g_completed;
std::optional<CompletedWrite> g_open;
bool g_unanswered = false;

vx_error* ownError(const char* message, const char* function) {
    return new vx_error{message != nullptr ? message : "", function != nullptr ? function : ""};
}

void refuse(vx_error** error, const char* why) {
    if (error == nullptr) return;
    *error = g_host != nullptr
                 ? g_host->create_error(1, why, "vx_device_send_and_receive_data", "", 0)
                 : ownError(why, "vx_device_send_and_receive_data");
}

// Requests that start a transfer step: an erase, a raw-data transfer, a property set (which is
// how the preset area is cleared).
bool startsStep(uint16_t opcode) {
    return opcode == OPCODE_ERASE_FLASH || opcode == OPCODE_START_WRITE_DATA ||
           opcode == OPCODE_SET_PROPERTY;
}

// Whether the exchange may go out; the reason when not.
const char* gate(uint16_t opcode) {
    if (g_dryRun && !isReadOnly(opcode)) {
        if (!g_dryRunStop) g_dryRunStop = opcode;
        return "dry run: a request that would change the camera was not sent";
    }
    const int interrupts = g_interrupts.load();
    if (interrupts >= 2 || (interrupts == 1 && startsStep(opcode))) {
        g_stoppedByInterrupt = true;
        return "interrupted: no further transfer step is started";
    }
    return nullptr;
}

// The write bookkeeping: what a step started, and whether the camera acknowledged its end.
void track(const uint8_t* request, uint32_t size, bool ok) {
    if (!ok || size < kOffPayload) return;
    const uint16_t opcode = libvxsensor::readLe16(request + kOffOpcode);
    const auto field = [&](uint32_t at) -> std::optional<uint32_t> {
        if (size < kOffPayload + at + 4) return std::nullopt;
        return libvxsensor::readLe32(request + kOffPayload + at);
    };
    if ((opcode == OPCODE_ERASE_FLASH || opcode == OPCODE_START_WRITE_DATA) && field(4)) {
        g_open = CompletedWrite{opcode == OPCODE_ERASE_FLASH, *field(0), *field(4)};
    } else if (g_open && ((opcode == OPCODE_FINISH_WRITE_FLASH && g_open->flash) ||
                          (opcode == OPCODE_FINISH_WRITE_DATA && !g_open->flash &&
                           field(0) == g_open->where))) {
        g_completed.push_back(*g_open);
        g_open.reset();
    }
}

bool answeredWell(const uint8_t* response, uint32_t size) {
    return size >= kRespHeaderSize &&
           libvxsensor::readLe16(response + kOffMagic) == kResponseMagic &&
           libvxsensor::readLe16(response + kOffStatus) == 0;
}

}  // namespace

void attach(const vx_host_functions* host) {
    g_host = host;
}

void echoLog(VXLogSeverity minimum) {
    g_echo = minimum;
}

const Totals& totals() {
    return g_totals;
}

void setDryRun(bool on) {
    g_dryRun = on;
    g_dryRunStop.reset();
}

std::optional<uint16_t> dryRunStoppedAt() {
    return g_dryRunStop;
}

bool isReadOnly(uint16_t opcode) {
    switch (opcode) {
        case OPCODE_GET_PROPERTY:
        case OPCODE_GET_STRUCTURE_DATA:
        case OPCODE_HEARTBEAT_AND_STATE:
        case OPCODE_GET_READ_DATA_SIZE:
        case OPCODE_READ_DATA:
        case OPCODE_FINISH_READ_DATA:
        case OPCODE_READ_FLASH:
        case OPCODE_GET_CMD_VERSION:
        case OPCODE_GET_STRUCTURE_DATA_V1_1:
        case OPCODE_START_GET_STRUCTURE_DATA_LIST:
        case OPCODE_GET_STRUCTURE_DATA_LIST:
        case OPCODE_FINISH_GET_STRUCTURE_DATA_LIST:
            return true;
        default:
            return false;
    }
}

void interrupt() {
    g_interrupts.fetch_add(1);
}

int interruptCount() {
    return g_interrupts.load();
}

bool stoppedByInterrupt() {
    return g_stoppedByInterrupt;
}

const std::vector<CompletedWrite>& completedWrites() {
    return g_completed;
}

std::optional<CompletedWrite> unfinishedWrite() {
    return g_open;
}

bool cameraStoppedAnswering() {
    return g_unanswered;
}

}  // namespace vxfw::seam

using vxfw::seam::g_host;

extern "C" {

vx_device_info* vx_device_get_device_info(vx_device_t* device, vx_error** error) {
    return g_host->get_device_info(device, error);
}

int vx_device_info_get_vid(const vx_device_info* info, vx_error** error) {
    return g_host->info_get_vid(info, error);
}

int vx_device_info_get_pid(const vx_device_info* info, vx_error** error) {
    return g_host->info_get_pid(info, error);
}

const char* vx_device_info_get_connection_type(const vx_device_info* info, vx_error** error) {
    return g_host->info_get_connection_type(info, error);
}

const char* vx_device_info_get_firmware_version(const vx_device_info* info, vx_error** error) {
    return g_host->info_get_firmware_version(info, error);
}

void vx_delete_device_info(vx_device_info* info, vx_error** error) {
    g_host->delete_device_info(info, error);
}

void vx_device_send_and_receive_data(vx_device_t* device, const uint8_t* send_data,
                                     uint32_t send_data_size, uint8_t* receive_data,
                                     uint32_t* receive_data_size, vx_error** error) {
    using namespace vxfw::seam;
    const uint16_t opcode =
        send_data != nullptr && send_data_size >= libvxsensor::protocol::kOffPayload
            ? libvxsensor::readLe16(send_data + libvxsensor::protocol::kOffOpcode)
            : 0;
    if (const char* why = gate(opcode)) {
        refuse(error, why);
        return;
    }
    g_host->send_and_receive_data(device, send_data, send_data_size, receive_data,
                                  receive_data_size, error);
    const bool failed = error != nullptr && *error != nullptr;
    const uint32_t received = failed || receive_data_size == nullptr ? 0 : *receive_data_size;
    const bool well = !failed && receive_data != nullptr && answeredWell(receive_data, received);
    g_unanswered = failed;
    ++g_totals.exchanges;
    g_totals.failed += well ? 0 : 1;
    g_totals.bytesSent += send_data_size;
    g_totals.bytesReceived += received;
    if (send_data != nullptr) track(send_data, send_data_size, well);
}

void vx_device_get_structured_data(vx_device_t* device, uint32_t property_id, uint8_t* data,
                                   uint32_t* data_size, vx_error** error) {
    g_host->get_structured_data(device, property_id, data, data_size, error);
}

const char* vx_device_get_extension_info(vx_device_t* device, const char* info_key,
                                         vx_error** error) {
    return g_host->get_extension_info(device, info_key, error);
}

vx_error* vx_create_error(int status, const char* message, const char* function, const char* args,
                          int exception_type) {
    if (g_host == nullptr) return vxfw::seam::ownError(message, function);
    return g_host->create_error(status, message, function, args, exception_type);
}

const char* vx_error_get_message(const vx_error* error) {
    if (g_host == nullptr) return error != nullptr ? error->message.c_str() : "";
    return g_host->error_get_message(error);
}

const char* vx_error_get_function(const vx_error* error) {
    if (g_host == nullptr) return error != nullptr ? error->function.c_str() : "";
    return g_host->error_get_function(error);
}

void vx_delete_error(vx_error* error) {
    if (g_host == nullptr) {
        delete error;
        return;
    }
    g_host->delete_error(error);
}

void vx_log_external_message(VXLogSeverity severity, const char* module, const char* message,
                             const char* file, const char* function, int line, vx_error** error) {
    using vxfw::seam::g_echo;
    if (g_echo != VX_LOG_SEVERITY_OFF && severity >= g_echo) {
        std::fprintf(stderr, "vxfw: library %s: %s\n", function != nullptr ? function : "",
                     message != nullptr ? message : "");
    }
    if (g_host != nullptr) {
        g_host->log_external_message(severity, module, message, file, function, line, error);
    }
}

}  // extern "C"
