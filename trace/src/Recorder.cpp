// The recording host functions: the call goes to the next host first, and what it answered is
// written afterwards, so a recorded call reaches the camera exactly as an unrecorded one would.
#include "vxtrace/Recorder.h"

#include <algorithm>
#include <cstdio>
#include <exception>

namespace vxtrace {

namespace {

Recorder* g_active = nullptr;

const char* orEmpty(const char* text) {
    return text != nullptr ? text : "";
}

// Runs the call; a failure (an error object, or a C++ exception that goes on to the caller)
// goes into the entry, and otherwise `keep` takes the answer. Then the entry is written.
template <typename Result, typename Forward, typename Keep>
Result through(Entry& entry, vx_error** error, Forward forward, Keep keep) {
    Recorder& recorder = *g_active;
    Result result{};
    try {
        result = forward();
    } catch (const std::exception& e) {
        entry.thrown = e.what();
        recorder.record(entry);
        throw;
    } catch (...) {
        entry.thrown = "an exception that is no std::exception";
        recorder.record(entry);
        throw;
    }
    if (error != nullptr && *error != nullptr) {
        entry.error = HostError{orEmpty(recorder.next().error_get_message(*error)),
                                orEmpty(recorder.next().error_get_function(*error))};
    } else {
        keep(result);
    }
    recorder.record(entry);
    return result;
}

Entry of(Call call) {
    Entry entry;
    entry.call = call;
    return entry;
}

// What the host put into a receive buffer: as many bytes as it reported, never more than the
// buffer holds.
void keepAnswer(Entry& entry, const uint8_t* buffer, const uint32_t* size) {
    entry.received = size != nullptr ? *size : 0;
    const uint32_t n = std::min(entry.received, entry.capacity);
    if (buffer != nullptr && n > 0) entry.answer.assign(buffer, buffer + n);
}

vx_device_info* getDeviceInfo(vx_device_t* device, vx_error** error) {
    Entry e = of(Call::DeviceInfo);
    return through<vx_device_info*>(
        e, error, [&] { return g_active->next().get_device_info(device, error); },
        [&](vx_device_info* info) { e.gotInfo = info != nullptr; });
}

int infoNumber(Call call, const vx_device_info* info, vx_error** error) {
    Entry e = of(call);
    const auto get =
        call == Call::Vid ? g_active->next().info_get_vid : g_active->next().info_get_pid;
    return through<int>(
        e, error, [&] { return get(info, error); }, [&](int value) { e.value = value; });
}

int getVid(const vx_device_info* info, vx_error** error) {
    return infoNumber(Call::Vid, info, error);
}

int getPid(const vx_device_info* info, vx_error** error) {
    return infoNumber(Call::Pid, info, error);
}

const char* infoText(Call call, const vx_device_info* info, vx_error** error) {
    Entry e = of(call);
    const auto get = call == Call::ConnectionType ? g_active->next().info_get_connection_type
                                                  : g_active->next().info_get_firmware_version;
    return through<const char*>(
        e, error, [&] { return get(info, error); },
        [&](const char* text) {
            if (text != nullptr) e.text = text;
        });
}

const char* getConnectionType(const vx_device_info* info, vx_error** error) {
    return infoText(Call::ConnectionType, info, error);
}

const char* getFirmwareVersion(const vx_device_info* info, vx_error** error) {
    return infoText(Call::FirmwareVersion, info, error);
}

void deleteInfo(vx_device_info* info, vx_error** error) {
    Entry e = of(Call::DeleteInfo);
    through<int>(
        e, error,
        [&] {
            g_active->next().delete_device_info(info, error);
            return 0;
        },
        [](int) {});
}

void sendAndReceive(vx_device_t* device, const uint8_t* send, uint32_t sendSize, uint8_t* receive,
                    uint32_t* receiveSize, vx_error** error) {
    Entry e = of(Call::Send);
    if (send != nullptr) e.request.assign(send, send + sendSize);
    e.capacity = receiveSize != nullptr ? *receiveSize : 0;
    through<int>(
        e, error,
        [&] {
            g_active->next().send_and_receive_data(device, send, sendSize, receive, receiveSize,
                                                   error);
            return 0;
        },
        [&](int) { keepAnswer(e, receive, receiveSize); });
}

void structuredData(vx_device_t* device, uint32_t property, uint8_t* data, uint32_t* size,
                    vx_error** error) {
    Entry e = of(Call::Structured);
    e.property = property;
    e.capacity = size != nullptr ? *size : 0;
    through<int>(
        e, error,
        [&] {
            g_active->next().get_structured_data(device, property, data, size, error);
            return 0;
        },
        [&](int) { keepAnswer(e, data, size); });
}

const char* extensionInfo(vx_device_t* device, const char* key, vx_error** error) {
    Entry e = of(Call::ExtensionInfo);
    e.key = orEmpty(key);
    return through<const char*>(
        e, error, [&] { return g_active->next().get_extension_info(device, key, error); },
        [&](const char* text) {
            if (text != nullptr) e.text = text;
        });
}

}  // namespace

Recorder::Recorder(const vx_host_functions& next, const std::string& path)
    : next_(next), host_(next), writer_(std::make_unique<TraceWriter>(path)) {
    if (g_active != nullptr) throw TraceError("a trace is being recorded already");
    host_.get_device_info = getDeviceInfo;
    host_.info_get_vid = getVid;
    host_.info_get_pid = getPid;
    host_.info_get_connection_type = getConnectionType;
    host_.info_get_firmware_version = getFirmwareVersion;
    host_.delete_device_info = deleteInfo;
    host_.send_and_receive_data = sendAndReceive;
    host_.get_structured_data = structuredData;
    host_.get_extension_info = extensionInfo;
    g_active = this;
}

Recorder::~Recorder() {
    g_active = nullptr;
}

void Recorder::record(const Entry& entry) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!writer_) return;
    try {
        writer_->add(entry);
    } catch (const TraceError& e) {
        failure_ = e.what();
        std::fprintf(stderr, "vxsensor trace: %s; recording stops, the program goes on\n",
                     failure_.c_str());
        writer_.reset();
    }
}

void Recorder::deviceGroup(uint16_t group, const uint8_t* records, uint32_t size) {
    const std::lock_guard<std::mutex> lock(mutex_);
    groups_.emplace_back(group, records != nullptr ? std::vector<uint8_t>(records, records + size)
                                                   : std::vector<uint8_t>());
}

void Recorder::finish(Header header, const std::vector<EmbeddedFile>& files) {
    const std::lock_guard<std::mutex> lock(mutex_);
    header.deviceGroups = groups_;
    if (!writer_) {
        throw TraceError(failure_.empty() ? "the trace is finished already" : failure_);
    }
    const std::unique_ptr<TraceWriter> writer = std::move(writer_);
    writer->finish(std::move(header), files);
}

}  // namespace vxtrace
