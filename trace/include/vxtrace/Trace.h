// A trace: one camera's conversation with a program, host call by host call, as JSON Lines (the
// layout is described in docs/trace-format.md). This is its one reader and its one writer; vxfw,
// the preloadable recorder, the emulator's replay camera and the tests all go through them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace vxtrace {

inline constexpr int kFormatVersion = 1;

// A file that is no trace of this version, or one that is damaged or cut short; the message says
// which, and where.
class TraceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The host functions a trace holds; error objects and log lines are the host's own business and
// never reach a camera, so they are not recorded.
enum class Call {
    Send,             // vx_device_send_and_receive_data
    Structured,       // vx_device_get_structured_data
    DeviceInfo,       // vx_device_get_device_info
    Vid,              // vx_device_info_get_vid
    Pid,              // vx_device_info_get_pid
    ConnectionType,   // vx_device_info_get_connection_type
    FirmwareVersion,  // vx_device_info_get_firmware_version
    DeleteInfo,       // vx_delete_device_info
    ExtensionInfo,    // vx_device_get_extension_info
};
// The name in the trace ("send") and the host function's own ("vx_device_send_and_receive_data").
const char* callName(Call call);
const char* hostFunctionName(Call call);

// What an error object said; the host has no call that reads its status.
struct HostError {
    std::string message;
    std::string function;
};

// One host call. What a call returns is kept only when it neither failed nor threw.
struct Entry {
    Call call = Call::Send;
    // What the caller asked.
    std::vector<uint8_t> request;  // Send: the bytes sent
    uint32_t property = 0;         // Structured
    std::string key;               // ExtensionInfo
    uint32_t capacity = 0;         // Send, Structured: the receive capacity offered
    // What the host answered.
    std::vector<uint8_t> answer;      // Send, Structured: the bytes in the buffer, at most capacity
    uint32_t received = 0;            // Send, Structured: the length the host reported
    int value = 0;                    // Vid, Pid
    std::optional<std::string> text;  // ConnectionType, FirmwareVersion, ExtensionInfo (null: none)
    bool gotInfo = true;              // DeviceInfo: an object came back
    std::optional<HostError> error;   // the call set an error object
    std::optional<std::string> thrown;  // the call threw a C++ exception with this text
};

// The outcome of a vxfw run, kept so that `vxfw replay` can tell it was the same: the exit status,
// the result, and the callbacks as runs of one state and message with their last percentage.
struct Callback {
    int state = 0;
    std::string message;
    int percent = 0;
};
struct Outcome {
    int exit = 0;
    std::string result;
    std::optional<int> state;
    std::string message;
    std::vector<Callback> callbacks;
};

// A file the recorded command read. A small one is carried in the trace, so that a replay needs
// nothing else; a large one (an image of megabytes) only by its size and checksum, and the
// replay is handed it again.
struct EmbeddedFile {
    std::string name;
    std::vector<uint8_t> bytes;  // empty when not carried
    bool carried = true;
    uint64_t size = 0;     // set by the reader
    std::string checksum;  // set by the reader
};
inline constexpr uint64_t kCarriedFileLimit = 1u << 20;
// The checksum the header gives a file.
std::string fileChecksum(const std::vector<uint8_t>& bytes);

struct Header {
    int version = kFormatVersion;
    std::string library;       // libvxsensor_ext's commit hash
    std::string tool;          // what recorded: "vxfw 1.0.0", "libvxsensor_record 1.0.0 in app"
    std::string date;          // UTC, ISO 8601
    std::string source;        // the device source's words for the camera
    bool virtualTime = false;  // the source needed no real time (an emulator)
    // The device-group records the program registered (vx_set_device_info_data), in order: they
    // decide which family a camera is, so a replay registers them again.
    std::vector<std::pair<uint16_t, std::vector<uint8_t>>> deviceGroups;
    // The camera's identity as it answered first: vid, pid, connectionType, firmwareVersion,
    // extensionInfo {key: text}. Derived from the entries by the writer.
    nlohmann::ordered_json identity = nlohmann::ordered_json::object();
    // vxfw's command line after its global options; a file argument is {"file": index} into the
    // embedded files, an output file {"output": "name"}. Null for other programs.
    nlohmann::ordered_json command;
    std::optional<Outcome> outcome;
    uint64_t entries = 0;
};

struct Trace {
    Header header;
    std::vector<EmbeddedFile> files;
    std::vector<Entry> entries;
};

// The whole trace, checked: TraceError when it is not one. `path` only names it in messages.
Trace readTrace(const std::string& path);
Trace parseTrace(const uint8_t* data, size_t size, const std::string& name = "trace");

// Writes a trace as its calls happen: entries go to PATH.part, and finish() writes the header
// and the files in front of them into PATH, so a run that never finishes leaves no trace that
// looks whole.
class TraceWriter {
public:
    // TraceError when PATH.part cannot be created.
    explicit TraceWriter(std::string path);
    ~TraceWriter();
    TraceWriter(const TraceWriter&) = delete;
    TraceWriter& operator=(const TraceWriter&) = delete;

    const std::string& path() const { return path_; }
    // TraceError when the disk refuses.
    void add(const Entry& entry);
    // Completes the header (identity, number of entries, checksum) and writes the trace.
    void finish(Header header, const std::vector<EmbeddedFile>& files = {});

private:
    std::string path_;
    std::FILE* part_ = nullptr;
    uint64_t count_ = 0;
    uint64_t hash_;
    nlohmann::ordered_json identity_ = nlohmann::ordered_json::object();
};

// Writes a whole trace at once (tests that make a trace from another).
void writeTrace(const std::string& path, const Trace& trace);

// The current UTC time as the header's date.
std::string utcNow();

}  // namespace vxtrace
