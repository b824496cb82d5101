// The camera emulator: a stand-in for the host SDK. It implements every host function of
// vxsensor/vx_host.h, so a program linked against libvxsensor_sim instead of the maker's host
// library runs the real extension against emulated devices.
//
//   vxsim::Device camera({0x3A6E, 0x0840, "USB3.0", "1.7.16"});
//   camera.setResponder(std::make_shared<MyResponder>());
//   vx_device_write_flash(camera.handle(), ...);
//   for (const vxsim::Exchange& e : camera.exchanges()) ...
//
// Process-wide host state (log lines, live-object counts, failure switches) lives in
// vxsim::Host::instance(). Everything is meant for one thread at a time, like the extension.
// Ready-made cameras: vxsim/VirtualCamera.h and the catalog in vxsim/Models.h (see sim/README.md).
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vxsensor/vx_host.h"
#include "vxsim/LinkModel.h"

// The opaque host objects are plain structs that the emulator's classes derive from, so a
// handle converts to its object without any cast of raw memory.
struct vx_device {
    virtual ~vx_device() = default;
};

namespace vxsim {

// Who the device says it is, as the host SDK's device-information object reports it.
struct Identity {
    uint16_t vid = 0x3A6E;
    uint16_t pid = 0;
    std::string connectionType = "USB3.0";
    std::string firmwareVersion = "1.0.0";
    std::map<std::string, std::string> extensionInfo;  // vx_device_get_extension_info keys
};

// What the device side answers to one vendor request.
struct Reply {
    std::vector<uint8_t> bytes;              // as the device sends them (cut to the capacity)
    std::optional<uint32_t> reportedLength;  // a received length to report instead of the true one
    bool transportError = false;             // the host call sets an error object instead
    bool hostThrows = false;                 // the host call throws a C++ exception instead
    std::string errorMessage = "Send and receive failed";

    static Reply transportFailure(std::string message);
};

// The device side of the vendor protocol. Virtual cameras implement it; tests may script it.
class Responder {
public:
    virtual ~Responder() = default;
    // One request; `capacity` is the receive buffer the host offered.
    virtual Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) = 0;
    // vx_device_get_structured_data. Return false when the device does not answer the id.
    virtual bool structuredData(uint32_t propertyId, std::vector<uint8_t>& out);
};

// A responder made of a function, for tests that script the device's answers.
class FunctionResponder : public Responder {
public:
    using Handler = std::function<Reply(const std::vector<uint8_t>& request, uint32_t capacity)>;
    explicit FunctionResponder(Handler handler) : handler_(std::move(handler)) {}
    Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override;

private:
    Handler handler_;
};

// One exchange as the host saw it.
struct Exchange {
    std::vector<uint8_t> request;
    std::vector<uint8_t> response;  // bytes written into the receive buffer
    uint32_t capacity = 0;          // receive capacity offered by the caller
    uint32_t reportedLength = 0;    // receive length handed back to the caller
    bool transportError = false;    // an error object was returned (or the call threw)
    std::string errorMessage;
};

// What the exchanges of a device added up to (see vxsim/Trace.h for a dump).
struct TraceSummary {
    uint64_t exchanges = 0;
    uint64_t transportErrors = 0;
    uint64_t deviceErrors = 0;  // status 1..0x7FFF and 0xFFFF (unknown)
    uint64_t warnings = 0;      // status 0x8000..0xFFFE
    uint64_t malformed = 0;     // answers too short for a status word or without "RB"
    uint64_t bytesSent = 0;
    uint64_t bytesReceived = 0;              // as written into the caller's buffers
    std::map<uint16_t, uint64_t> perOpcode;  // requests too short to name one are not counted

    void add(const Exchange& exchange);
};

class Device : public ::vx_device {
public:
    explicit Device(Identity identity = {});
    ~Device() override;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    vx_device_t* handle() { return this; }
    static Device* fromHandle(vx_device_t* device);

    Identity& identity() { return identity_; }
    const Identity& identity() const { return identity_; }

    // Without a responder every request fails as a transport error.
    void setResponder(std::shared_ptr<Responder> responder);
    Responder* responder() const { return responder_.get(); }
    // The same responder shared, for wrapping it (see attachFaults in vxsim/Faults.h).
    std::shared_ptr<Responder> sharedResponder() const { return responder_; }

    const std::vector<Exchange>& exchanges() const { return exchanges_; }
    // Clears the log and the totals.
    void clearExchanges() {
        exchanges_.clear();
        totals_ = {};
    }
    // Every exchange since the log was last cleared, counted whether recorded or not.
    const TraceSummary& totals() const { return totals_; }
    // On by default. Off, exchanges are still served and their link time still summed, but the
    // log stays as it is: a long transfer then neither grows memory nor pays for copies that a
    // measurement of the caller's own cost would count.
    void setRecording(bool on) { recording_ = on; }
    bool recording() const { return recording_; }

    // The link the device is reached over. Every exchange from then on adds the time the link
    // would take (see vxsim/LinkModel.h); clearing the exchange log keeps the sum.
    void setLinkModel(std::optional<LinkModel> link) { link_ = std::move(link); }
    const std::optional<LinkModel>& linkModel() const { return link_; }
    double modelledSeconds() const { return modelledSeconds_; }
    void resetModelledTime() { modelledSeconds_ = 0.0; }

    // Used by the host functions; not for applications.
    void record(Exchange exchange);
    std::string& extensionInfoText() { return extensionInfoText_; }

private:
    Identity identity_;
    std::shared_ptr<Responder> responder_;
    std::vector<Exchange> exchanges_;
    TraceSummary totals_;
    std::string extensionInfoText_;
    std::optional<LinkModel> link_;
    double modelledSeconds_ = 0.0;
    bool recording_ = true;
};

// Every host function that can fail through its vx_error** argument.
enum class HostCall {
    GetDeviceInfo,
    InfoGetVid,
    InfoGetPid,
    InfoGetConnectionType,
    InfoGetFirmwareVersion,
    DeleteDeviceInfo,
    SendAndReceive,
    GetStructuredData,
    GetExtensionInfo,
    LogExternalMessage,
};
constexpr int kHostCallCount = 10;
const char* hostCallName(HostCall call);

// A failure switch: after `skip` calls that go through, the next `count` calls fail
// (count 0: every later call fails).
struct Failure {
    uint32_t skip = 0;
    uint32_t count = 1;
    std::string message = "injected host failure";
    bool throwInstead = false;  // throw std::runtime_error rather than set an error object
};

struct LogLine {
    VXLogSeverity severity = VX_LOG_SEVERITY_INFO;
    std::string module;
    std::string message;
    std::string file;
    std::string function;
    int line = 0;
};

class Host {
public:
    static Host& instance();

    // The log sink keeps every line.
    const std::vector<LogLine>& logLines() const { return logLines_; }
    void clearLog() { logLines_.clear(); }
    // Also print lines of at least `minSeverity` to `out` (nullptr: print nothing).
    void setLogEcho(std::FILE* out, VXLogSeverity minSeverity = VX_LOG_SEVERITY_WARN);

    // The names of the host functions called, in order, while the journal is on (off by
    // default): for tests of what happens in which order, such as logging a host error before
    // releasing it.
    void setCallJournal(bool on) { journalOn_ = on; }
    const std::vector<std::string>& callJournal() const { return journal_; }

    void failCall(HostCall call, Failure failure);
    void clearFailures();
    uint64_t callCount(HostCall call) const;

    // Host objects created and not yet deleted.
    int liveErrors() const { return liveErrors_; }
    int liveDeviceInfos() const { return liveDeviceInfos_; }

    // Clears log, failure switches, call counts and the journal, and turns the journal off
    // (live-object counts stay: they are facts).
    void reset();

    // Used by the host functions; not for applications.
    // Counts the call and returns the failure it must produce, if its switch says so.
    const Failure* enter(HostCall call);
    void addLogLine(LogLine line);
    void journal(const char* function) {
        if (journalOn_) journal_.emplace_back(function);
    }
    void objectCreated(bool isError) { (isError ? liveErrors_ : liveDeviceInfos_)++; }
    void objectDeleted(bool isError) { (isError ? liveErrors_ : liveDeviceInfos_)--; }

private:
    Host() = default;
    struct Switch {
        std::optional<Failure> failure;
        uint64_t seen = 0;  // calls since the switch was armed
    };
    std::vector<LogLine> logLines_;
    std::FILE* echo_ = nullptr;
    VXLogSeverity echoMin_ = VX_LOG_SEVERITY_WARN;
    Switch switches_[kHostCallCount];
    uint64_t calls_[kHostCallCount] = {};
    bool journalOn_ = false;
    std::vector<std::string> journal_;
    int liveErrors_ = 0;
    int liveDeviceInfos_ = 0;
};

// Read access to what the opaque error objects carry, for tests.
int errorStatus(const vx_error* error);
int errorExceptionType(const vx_error* error);
const char* errorArgs(const vx_error* error);

}  // namespace vxsim
