// libvxsensor_record.so: records what any program's cameras say, with the program unchanged.
//   LD_PRELOAD=libvxsensor_record.so VXSENSOR_RECORD=TRACE program ...
// Loaded first, it defines the host functions that reach a camera, so the extension binds to
// these; each hands its call to the host library behind it (the next definition the dynamic
// linker finds) through the recorder. The trace is written when the program exits. Without
// VXSENSOR_RECORD the calls only pass through.
#include <dlfcn.h>
#include <errno.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>

#include "vxtrace/Recorder.h"

#define VXRECORD_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

template <typename Function>
void bind(Function& slot, const char* name) {
    slot = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (slot == nullptr) {
        std::fprintf(stderr, "libvxsensor_record: no host library behind it defines %s\n", name);
        std::abort();
    }
}

vx_host_functions nextHost() {
    vx_host_functions next{};
    bind(next.get_device_info, "vx_device_get_device_info");
    bind(next.info_get_vid, "vx_device_info_get_vid");
    bind(next.info_get_pid, "vx_device_info_get_pid");
    bind(next.info_get_connection_type, "vx_device_info_get_connection_type");
    bind(next.info_get_firmware_version, "vx_device_info_get_firmware_version");
    bind(next.delete_device_info, "vx_delete_device_info");
    bind(next.send_and_receive_data, "vx_device_send_and_receive_data");
    bind(next.get_structured_data, "vx_device_get_structured_data");
    bind(next.get_extension_info, "vx_device_get_extension_info");
    bind(next.create_error, "vx_create_error");
    bind(next.error_get_message, "vx_error_get_message");
    bind(next.error_get_function, "vx_error_get_function");
    bind(next.delete_error, "vx_delete_error");
    bind(next.log_external_message, "vx_log_external_message");
    return next;
}

// The header of a program that is not vxfw: who recorded, in what, against which library.
vxtrace::Header header() {
    vxtrace::Header h;
    h.tool =
        std::string("libvxsensor_record " VXRECORD_VERSION " in ") + program_invocation_short_name;
    using CommitHash = const char* (*)();
    const auto commit = reinterpret_cast<CommitHash>(::dlsym(RTLD_DEFAULT, "vx_get_commit_hash"));
    h.library = commit != nullptr ? commit() : "unknown";
    h.date = vxtrace::utcNow();
    h.source = "the host library of " + std::string(program_invocation_short_name);
    return h;
}

// Started by the first host call, so a program that never reaches a camera (or a child it
// starts) leaves no trace; finished when the program exits.
class Session {
public:
    Session() : next_(nextHost()) {
        const char* path = std::getenv("VXSENSOR_RECORD");
        if (path == nullptr || *path == '\0') return;
        try {
            recorder_ = std::make_unique<vxtrace::Recorder>(next_, path);
        } catch (const vxtrace::TraceError& e) {
            std::fprintf(stderr, "libvxsensor_record: %s; nothing is recorded\n", e.what());
        }
    }
    ~Session() {
        if (!recorder_) return;
        try {
            recorder_->finish(header());
        } catch (const vxtrace::TraceError& e) {
            std::fprintf(stderr, "libvxsensor_record: %s\n", e.what());
        }
    }
    const vx_host_functions& host() const { return recorder_ ? recorder_->host() : next_; }
    vxtrace::Recorder* recorder() { return recorder_.get(); }

private:
    vx_host_functions next_;
    std::unique_ptr<vxtrace::Recorder> recorder_;
};

Session& session() {
    static Session session;
    return session;
}

const vx_host_functions& host() {
    return session().host();
}

}  // namespace

VXRECORD_EXPORT vx_device_info* vx_device_get_device_info(vx_device_t* device, vx_error** error) {
    return host().get_device_info(device, error);
}

VXRECORD_EXPORT int vx_device_info_get_vid(const vx_device_info* info, vx_error** error) {
    return host().info_get_vid(info, error);
}

VXRECORD_EXPORT int vx_device_info_get_pid(const vx_device_info* info, vx_error** error) {
    return host().info_get_pid(info, error);
}

VXRECORD_EXPORT const char* vx_device_info_get_connection_type(const vx_device_info* info,
                                                               vx_error** error) {
    return host().info_get_connection_type(info, error);
}

VXRECORD_EXPORT const char* vx_device_info_get_firmware_version(const vx_device_info* info,
                                                                vx_error** error) {
    return host().info_get_firmware_version(info, error);
}

VXRECORD_EXPORT void vx_delete_device_info(vx_device_info* info, vx_error** error) {
    host().delete_device_info(info, error);
}

VXRECORD_EXPORT void vx_device_send_and_receive_data(vx_device_t* device, const uint8_t* send_data,
                                                     uint32_t send_data_size, uint8_t* receive_data,
                                                     uint32_t* receive_data_size,
                                                     vx_error** error) {
    host().send_and_receive_data(device, send_data, send_data_size, receive_data, receive_data_size,
                                 error);
}

VXRECORD_EXPORT void vx_device_get_structured_data(vx_device_t* device, uint32_t property_id,
                                                   uint8_t* data, uint32_t* data_size,
                                                   vx_error** error) {
    host().get_structured_data(device, property_id, data, data_size, error);
}

VXRECORD_EXPORT const char* vx_device_get_extension_info(vx_device_t* device, const char* info_key,
                                                         vx_error** error) {
    return host().get_extension_info(device, info_key, error);
}

// The extension's own function, wrapped only to keep what the program registers: the groups
// decide a camera's family, so a replay needs them.
VXRECORD_EXPORT void vx_set_device_info_data(uint16_t group_type, const uint8_t* data,
                                             uint32_t data_size, vx_error** error) {
    using SetGroups = void (*)(uint16_t, const uint8_t*, uint32_t, vx_error**);
    static SetGroups next = nullptr;
    if (next == nullptr) bind(next, "vx_set_device_info_data");
    if (vxtrace::Recorder* recorder = session().recorder()) {
        recorder->deviceGroup(group_type, data, data_size);
    }
    next(group_type, data, data_size, error);
}
