// The emulated camera behind --sim, with the tool's own options for faults, links, installs and
// a state file that lets one run see what an earlier one wrote.
#include "vxfw/SimDevice.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <iterator>

#include "common/Sleep.h"
#include "vxfw/FileKinds.h"
#include "vxfw/Progress.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Install.h"
#include "vxsim/Trace.h"
#include "vxsim/Wire.h"

namespace vxfw {

namespace {

using vxsim::Fault;

// The library's pauses wait for a real camera to erase or install; the emulated one is done at
// once, so they are counted instead of slept.
uint64_t g_skippedMs = 0;
void skipSleep(uint32_t milliseconds) {
    g_skippedMs += milliseconds;
}

enum class Value { None, Optional, Required };

struct FaultName {
    const char* name;
    Value value;
    uint32_t defaultValue;
    Fault (*make)(uint32_t value);
};

uint16_t status16(uint32_t value) {
    if (value > 0xFFFF) throw UsageError("status " + std::to_string(value) + " exceeds 16 bits");
    return static_cast<uint16_t>(value);
}

const FaultName kFaultNames[] = {
    {"transport", Value::None, 0, [](uint32_t) { return Fault::transportError(); }},
    {"stale-id", Value::None, 0, [](uint32_t) { return Fault::staleRequestId(); }},
    {"busy", Value::None, 0, [](uint32_t) { return Fault::busy(); }},
    {"device-error", Value::Optional, 1,
     [](uint32_t v) { return Fault::deviceError(status16(v)); }},
    {"device-warning", Value::Optional, 0x8001,
     [](uint32_t v) { return Fault::deviceWarning(status16(v)); }},
    {"bad-magic", Value::None, 0, [](uint32_t) { return Fault::badMagic(); }},
    {"truncate", Value::Required, 0, [](uint32_t v) { return Fault::truncate(v); }},
    {"overlong-body", Value::Optional, 4, [](uint32_t v) { return Fault::overlongBody(v); }},
    {"overlong-length", Value::Optional, 64, [](uint32_t v) { return Fault::overlongLength(v); }},
    {"bit-flip", Value::Optional, 0, [](uint32_t v) { return Fault::bitFlip(v); }},
    {"disappear", Value::None, 0, [](uint32_t) { return Fault::disappear(); }},
};

std::string normalized(std::string text) {
    for (char& c : text) {
        c = c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

std::optional<uint16_t> opcodeNamed(const std::string& text) {
    if (const auto number = parseNumber(text, 0xFFFF)) return static_cast<uint16_t>(*number);
    for (uint16_t op = 1; op < 64; ++op) {
        if (normalized(text) == vxsim::wire::opcodeName(op)) return op;
    }
    return std::nullopt;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t at = text.find(separator); at != std::string::npos;
         at = text.find(separator, start)) {
        parts.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

vxsim::FaultRule parseFault(const std::string& text) {
    const std::vector<std::string> parts = split(text, ':');
    const auto bad = [&text](const std::string& why) {
        return UsageError("fault=" + text + ": " + why +
                          " (form: TARGET[@N]:KIND[:VALUE], e.g. WRITE_FLASH@2:busy)");
    };
    if (parts.size() < 2 || parts.size() > 3) throw bad("wrong number of fields");
    const size_t at = parts[0].find('@');
    const std::string target = parts[0].substr(0, at);
    std::optional<uint64_t> nth;
    if (at != std::string::npos) {
        nth = parseNumber(parts[0].substr(at + 1), UINT32_MAX);
        if (!nth || *nth == 0) throw bad("@N counts from 1");
    }
    const auto kind = std::find_if(std::begin(kFaultNames), std::end(kFaultNames),
                                   [&](const FaultName& f) { return parts[1] == f.name; });
    if (kind == std::end(kFaultNames)) throw bad("unknown kind '" + parts[1] + "'");
    std::optional<uint64_t> value;
    if (parts.size() == 3) {
        value = parseNumber(parts[2], UINT32_MAX);
        if (!value || kind->value == Value::None) throw bad("bad or unexpected value");
    } else if (kind->value == Value::Required) {
        throw bad("kind '" + parts[1] + "' needs a value");
    }
    Fault fault;
    try {
        fault = kind->make(static_cast<uint32_t>(value.value_or(kind->defaultValue)));
    } catch (const std::invalid_argument& e) {
        throw bad(e.what());
    }
    if (normalized(target) == "EXCHANGE") {
        if (!nth) throw bad("'exchange' needs @N");
        return vxsim::FaultRule::atExchange(*nth - 1, fault);
    }
    const std::optional<uint16_t> opcode = opcodeNamed(target);
    if (!opcode) throw bad("unknown opcode '" + target + "'");
    return nth ? vxsim::FaultRule::onOpcode(*opcode, *nth - 1, fault)
               : vxsim::FaultRule::onOpcode(*opcode, fault);
}

std::optional<vxsim::LinkModel> linkNamed(const std::string& name) {
    if (name == "usb2") return vxsim::LinkModel::usb2();
    if (name == "usb3") return vxsim::LinkModel::usb3();
    if (name == "gmsl2") return vxsim::LinkModel::gmsl2();
    if (name == "ethernet") return vxsim::LinkModel::ethernet();
    return vxsim::linkPreset(name);
}

vxsim::InstallScript installNamed(const std::string& outcome) {
    if (outcome == "ok") return vxsim::quickInstall();
    if (outcome == "fail") {
        return vxsim::InstallScript()
            .started()
            .progress(40, "Installing firmware")
            .failed(-2, "Install failed: image rejected");
    }
    // Started and never finished: the library gives up after its polls.
    return vxsim::InstallScript().started().progress(10, "Installing firmware");
}

// State file: "VXFWSIM1", then records of tag (1 byte: 'F' flash block, 'C' customer data),
// position (LE32: flash offset, unused for 'C'), length (LE32) and the bytes.
constexpr char kStateMagic[] = "VXFWSIM1";
constexpr size_t kMagicSize = sizeof kStateMagic - 1;
constexpr size_t kStateBlock = 4096;

void putLe32(std::string& out, uint32_t value) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFFu));
}

uint32_t le32(const std::vector<uint8_t>& in, size_t at) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) value |= uint32_t{in[at + i]} << (8 * i);
    return value;
}

void putRecord(std::string& out, char tag, uint32_t position, const uint8_t* data, size_t size) {
    out.push_back(tag);
    putLe32(out, position);
    putLe32(out, static_cast<uint32_t>(size));
    out.append(data, data + size);
}

}  // namespace

SimDeviceSource::SimDeviceSource(const std::string& description, bool verbose) {
    const std::vector<std::string> parts = split(description, ',');
    cameraDescription_ = parts[0];
    for (size_t i = 1; i < parts.size(); ++i) {
        const size_t eq = parts[i].find('=');
        const std::string key = parts[i].substr(0, eq);
        const std::string value = eq == std::string::npos ? "" : parts[i].substr(eq + 1);
        if (key == "fault" || key == "disappear" || key == "link" || key == "install" ||
            key == "state") {
            applyOption(key, value);
        } else {
            cameraDescription_ += "," + parts[i];
        }
    }
    libvxsensor::setSleepHook(skipSleep);
    // The emulator is the host here, so the library's log sink is the emulator's.
    vxsim::Host::instance().setLogEcho(verbose ? stderr : nullptr, VX_LOG_SEVERITY_WARN);
}

SimDeviceSource::~SimDeviceSource() {
    libvxsensor::setSleepHook(nullptr);
}

void SimDeviceSource::applyOption(const std::string& key, const std::string& value) {
    if (key == "fault") {
        faults_.push_back(parseFault(value));
    } else if (key == "disappear") {
        disappearAfter_ = parseNumber(value, UINT32_MAX);
        if (!disappearAfter_) throw UsageError("disappear=" + value + ": not a count");
    } else if (key == "link") {
        link_ = linkNamed(value);
        if (!link_) throw UsageError("link=" + value + ": use usb2, usb3, gmsl2 or ethernet");
    } else if (key == "install") {
        if (value != "ok" && value != "fail" && value != "never") {
            throw UsageError("install=" + value + ": use ok, fail or never");
        }
        install_ = value;
    } else if (value.empty()) {
        throw UsageError("state= needs a file name");
    } else {
        stateFile_ = value;
    }
}

vx_device_t* SimDeviceSource::open() {
    try {
        camera_ = vxsim::makeCamera(cameraDescription_);
        if (!install_.empty()) vxsim::setInstallScript(*camera_, installNamed(install_));
    } catch (const std::invalid_argument& e) {
        throw UsageError(std::string("--sim: ") + e.what());
    }
    // The tool needs only the totals: an update of millions of exchanges must not keep a log of
    // them all.
    camera_->device().setRecording(false);
    for (const vxsim::FaultRule& rule : faults_) camera_->faults().add(rule);
    if (disappearAfter_) camera_->faults().disappearAfter(*disappearAfter_);
    if (link_) camera_->device().setLinkModel(link_);
    // An application registers the run-time device groups before it updates anything.
    for (const auto& [group, records] : vxsim::groupRecords()) {
        vx_error* error = nullptr;
        vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                &error);
        if (error != nullptr) {
            const std::string message = vx_error_get_message(error);
            vx_delete_error(error);
            throw std::runtime_error("registering device group " + std::to_string(group) + ": " +
                                     message);
        }
    }
    if (!stateFile_.empty()) loadState();
    return camera_->handle();
}

void SimDeviceSource::loadState() {
    freshFlash_ = camera_->camera().flash();
    struct stat info {};
    if (::stat(stateFile_.c_str(), &info) != 0 && errno == ENOENT) return;  // a new camera
    Bytes in;
    std::string error;
    if (!readWholeFile(stateFile_, in, error)) {
        throw UsageError("cannot read state file " + stateFile_ + ": " + error);
    }
    const UsageError damaged("state file " + stateFile_ +
                             " is damaged or belongs to another camera");
    if (in.size() < kMagicSize || !std::equal(in.begin(), in.begin() + kMagicSize, kStateMagic)) {
        throw damaged;
    }
    vxsim::VirtualCamera& camera = camera_->camera();
    for (size_t at = kMagicSize; at < in.size();) {
        if (in.size() - at < 9) throw damaged;
        const auto tag = static_cast<char>(in[at]);
        const uint32_t position = le32(in, at + 1);
        const uint32_t length = le32(in, at + 5);
        at += 9;
        if (in.size() - at < length) throw damaged;
        std::vector<uint8_t> bytes(in.begin() + static_cast<std::ptrdiff_t>(at),
                                   in.begin() + static_cast<std::ptrdiff_t>(at + length));
        at += length;
        try {
            if (tag == 'F') {
                camera.writeFlashDirect(position, bytes);
            } else if (tag == 'C' && camera.hasRawDataObject(vxsim::kCustomerDataId)) {
                camera.setRawData(vxsim::kCustomerDataId, std::move(bytes));
            } else {
                throw damaged;
            }
        } catch (const std::out_of_range&) {
            throw damaged;
        }
    }
}

void SimDeviceSource::close() {
    if (stateFile_.empty() || !camera_) return;
    const std::vector<uint8_t>& flash = camera_->camera().flash();
    std::string out(kStateMagic, kMagicSize);
    for (size_t at = 0; at < flash.size(); at += kStateBlock) {
        const size_t n = std::min(kStateBlock, flash.size() - at);
        if (!std::equal(flash.begin() + static_cast<std::ptrdiff_t>(at),
                        flash.begin() + static_cast<std::ptrdiff_t>(at + n),
                        freshFlash_.begin() + static_cast<std::ptrdiff_t>(at))) {
            putRecord(out, 'F', static_cast<uint32_t>(at), flash.data() + at, n);
        }
    }
    if (camera_->camera().hasRawDataObject(vxsim::kCustomerDataId)) {
        const std::vector<uint8_t>& data = camera_->camera().rawData(vxsim::kCustomerDataId);
        putRecord(out, 'C', 0, data.data(), data.size());
    }
    std::ofstream file(stateFile_, std::ios::binary | std::ios::trunc);
    if (!file.write(out.data(), static_cast<std::streamsize>(out.size()))) {
        throw UsageError("cannot write state file " + stateFile_);
    }
}

std::string SimDeviceSource::describe() const {
    if (!camera_) return "emulated camera " + cameraDescription_;
    const vxsim::Identity& id = camera_->device().identity();
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04X:%04X", static_cast<unsigned>(id.vid),
                  static_cast<unsigned>(id.pid));
    return "Emulated " + camera_->model().productName + " (" + camera_->model().name +
           (camera_->bootloader() ? ", bootloader" : "") + ", " + ids + ", " + id.connectionType +
           ", firmware " + id.firmwareVersion + ")";
}

std::optional<LinkUsage> SimDeviceSource::usage() const {
    if (!camera_ || !camera_->device().linkModel()) return std::nullopt;
    const vxsim::TraceSummary& totals = camera_->device().totals();
    return LinkUsage{camera_->device().modelledSeconds(), totals.bytesSent + totals.bytesReceived};
}

void SimDeviceSource::report(std::FILE* out, double librarySeconds) const {
    if (!camera_) return;
    const vxsim::Device& device = camera_->device();
    const vxsim::TraceSummary& s = device.totals();
    const uint64_t failed = s.transportErrors + s.deviceErrors + s.malformed;
    std::fprintf(out, "Exchanges: %llu (%llu failed), %llu bytes sent, %llu received\n",
                 static_cast<unsigned long long>(s.exchanges),
                 static_cast<unsigned long long>(failed),
                 static_cast<unsigned long long>(s.bytesSent),
                 static_cast<unsigned long long>(s.bytesReceived));
    if (const uint64_t injected = camera_->faults().injected()) {
        std::fprintf(out, "Faults injected: %llu\n", static_cast<unsigned long long>(injected));
    }
    std::string links;
    for (const vxsim::LinkModel& link :
         {vxsim::LinkModel::usb2(), vxsim::LinkModel::gmsl2(), vxsim::LinkModel::ethernet()}) {
        const double seconds = link.totalSeconds(s.exchanges, s.bytesSent + s.bytesReceived);
        links += (links.empty() ? "" : ", ") + link.name + " " + formatDuration(seconds);
    }
    std::fprintf(out, "Modelled link time: %s\n", links.c_str());
    std::fprintf(out, "Library time: %s (wall clock)", formatDuration(librarySeconds).c_str());
    if (g_skippedMs != 0) {
        std::fprintf(out, "; %s of pauses skipped (the emulated camera needs none)",
                     formatDuration(static_cast<double>(g_skippedMs) / 1000.0).c_str());
    }
    std::fputc('\n', out);
}

}  // namespace vxfw
