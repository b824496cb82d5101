// The session options of an emulated camera opened through the plugin, and its state file.
#include "Session.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "vxsim/Boot.h"
#include "vxsim/Install.h"
#include "vxsim/Wire.h"

namespace vxsim {

namespace {

std::optional<uint64_t> parseNumber(const std::string& text, uint64_t max) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    const char* allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (digits.empty() || digits.size() > 16 ||
        digits.find_first_not_of(allowed) != std::string::npos) {
        return std::nullopt;
    }
    const unsigned long long value = std::strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
    if (value > max) return std::nullopt;
    return static_cast<uint64_t>(value);
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

// ---- Faults ----------------------------------------------------------------------------------

enum class Value { None, Optional, Required };

struct FaultName {
    const char* name;
    Value value;
    uint32_t defaultValue;
    Fault (*make)(uint32_t value);
};

uint16_t status16(uint32_t value) {
    if (value > 0xFFFF) {
        throw std::invalid_argument("status " + std::to_string(value) + " exceeds 16 bits");
    }
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
        if (normalized(text) == wire::opcodeName(op)) return op;
    }
    return std::nullopt;
}

FaultRule parseFault(const std::string& text) {
    const std::vector<std::string> parts = split(text, ':');
    const auto bad = [&text](const std::string& why) {
        return std::invalid_argument("fault=" + text + ": " + why +
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
    if (kind == std::end(kFaultNames)) {
        std::string kinds;
        for (const FaultName& f : kFaultNames)
            kinds += (kinds.empty() ? "" : ", ") + std::string(f.name);
        throw bad("unknown kind '" + parts[1] + "'; kinds: " + kinds);
    }
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
        return FaultRule::atExchange(*nth - 1, fault);
    }
    const std::optional<uint16_t> opcode = opcodeNamed(target);
    if (!opcode) throw bad("unknown opcode '" + target + "'");
    return nth ? FaultRule::onOpcode(*opcode, *nth - 1, fault)
               : FaultRule::onOpcode(*opcode, fault);
}

// interrupt=N[:COUNT]: the process gets SIGINT once exchange N has been answered (and again after
// each of the next COUNT-1 exchanges), as if its user pressed Ctrl-C right then: how the tool's
// interrupt handling is tested at a chosen point of a transfer.
class Interrupter : public Responder {
public:
    Interrupter(std::shared_ptr<Responder> inner, uint64_t after, uint64_t count)
        : inner_(std::move(inner)), after_(after), count_(count) {}
    Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override {
        Reply reply = inner_->exchange(request, capacity);
        ++seen_;
        if (seen_ >= after_ && seen_ < after_ + count_) ::raise(SIGINT);
        return reply;
    }
    bool structuredData(uint32_t id, std::vector<uint8_t>& out) override {
        return inner_->structuredData(id, out);
    }

private:
    std::shared_ptr<Responder> inner_;
    uint64_t after_;
    uint64_t count_;
    uint64_t seen_ = 0;
};

InstallScript installNamed(const std::string& outcome) {
    if (outcome == "ok") return quickInstall();
    if (outcome == "fail") {
        return InstallScript()
            .started()
            .progress(40, "Installing firmware")
            .failed(-2, "Install failed: image rejected");
    }
    if (outcome == "never") {
        // Started and never finished: the library gives up after its polls.
        return InstallScript().started().progress(10, "Installing firmware");
    }
    throw std::invalid_argument("install=" + outcome + ": use ok, fail or never");
}

// ---- State file -----------------------------------------------------------------------------
// "VXFWSIM2", then records of tag (1 byte), position (LE32), length (LE32) and bytes:
//   'F' a changed 4 KiB flash block at position | 'C' the customer data | 'V' the firmware
//   version the camera reports | 'W' and 'B' what its boot depends on (vxsim/Boot.h)

constexpr char kStateMagic[] = "VXFWSIM2";
constexpr size_t kMagicSize = sizeof kStateMagic - 1;
constexpr size_t kStateBlock = 4096;

void putRecord(std::string& out, char tag, uint32_t position, const uint8_t* data, size_t size) {
    out.push_back(tag);
    std::vector<uint8_t> numbers;
    wire::putLe32(numbers, position);
    wire::putLe32(numbers, static_cast<uint32_t>(size));
    out.append(numbers.begin(), numbers.end());
    out.append(data, data + size);
}

}  // namespace

Session::Session(const std::string& description) {
    const std::vector<std::string> parts = split(description, ',');
    std::string cameraDescription = parts[0];
    std::vector<FaultRule> faults;
    std::optional<uint64_t> disappearAfter;
    std::optional<InstallScript> install;
    std::optional<std::pair<uint64_t, uint64_t>> interruptAt;
    std::optional<uint64_t> cutAfter;
    bool reboot = false;
    for (size_t i = 1; i < parts.size(); ++i) {
        const size_t eq = parts[i].find('=');
        const std::string key = parts[i].substr(0, eq);
        const std::string value = eq == std::string::npos ? "" : parts[i].substr(eq + 1);
        if (key == "fault") {
            faults.push_back(parseFault(value));
        } else if (key == "disappear") {
            disappearAfter = parseNumber(value, UINT32_MAX);
            if (!disappearAfter)
                throw std::invalid_argument("disappear=" + value + ": not a count");
        } else if (key == "interrupt") {
            const std::vector<std::string> n = split(value, ':');
            const auto after = parseNumber(n[0], UINT32_MAX);
            const auto count = n.size() == 2 ? parseNumber(n[1], 3) : std::optional<uint64_t>(1);
            if (!after || *after == 0 || !count || *count == 0 || n.size() > 2) {
                throw std::invalid_argument("interrupt=" + value +
                                            ": N[:COUNT], N from 1, COUNT 1 to 3");
            }
            interruptAt = std::make_pair(*after, *count);
        } else if (key == "cut") {
            cutAfter = parseNumber(value, UINT32_MAX);
            if (!cutAfter || *cutAfter == 0) {
                throw std::invalid_argument("cut=" + value +
                                            ": N, the exchange (from 1) after which the camera "
                                            "loses its power");
            }
        } else if (key == "reboot" && eq == std::string::npos) {
            reboot = true;
        } else if (key == "install") {
            install = installNamed(value);
        } else if (key == "state") {
            if (value.empty()) throw std::invalid_argument("state= needs a file name");
            stateFile_ = value;
        } else {
            cameraDescription += "," + parts[i];
        }
    }
    camera_ = makeCamera(cameraDescription);
    if (install) setInstallScript(*camera_, *install);
    // A session needs only totals: an update of millions of exchanges must not keep a log of
    // them all.
    camera_->device().setRecording(false);
    for (const FaultRule& rule : faults) camera_->faults().add(rule);
    if (disappearAfter) camera_->faults().disappearAfter(*disappearAfter);
    if (interruptAt) {
        Device& device = camera_->device();
        device.setResponder(std::make_shared<Interrupter>(device.sharedResponder(),
                                                          interruptAt->first, interruptAt->second));
    }
    if (!stateFile_.empty()) load();
    // A camera that lost its power boots afresh when it is next opened.
    if (reboot || camera_->boot().state().powerLost) camera_->reboot();
    if (cutAfter) camera_->cutPowerAfter(*cutAfter);
}

void Session::load() {
    freshFlash_ = camera_->camera().flash();
    std::ifstream file(stateFile_, std::ios::binary);
    if (!file) {
        if (errno == ENOENT) return;  // the first run starts from a new camera
        throw std::invalid_argument("cannot read state file " + stateFile_ + ": " +
                                    std::strerror(errno));
    }
    const std::vector<uint8_t> in((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
    const std::invalid_argument damaged("state file " + stateFile_ +
                                        " is damaged or belongs to another camera");
    if (in.size() < kMagicSize || !std::equal(in.begin(), in.begin() + kMagicSize, kStateMagic)) {
        throw damaged;
    }
    VirtualCamera& camera = camera_->camera();
    for (size_t at = kMagicSize; at < in.size();) {
        if (in.size() - at < 9) throw damaged;
        const auto tag = static_cast<char>(in[at]);
        const uint32_t position = wire::le32(&in[at + 1]);
        const uint32_t length = wire::le32(&in[at + 5]);
        at += 9;
        if (in.size() - at < length) throw damaged;
        std::vector<uint8_t> bytes(in.begin() + static_cast<std::ptrdiff_t>(at),
                                   in.begin() + static_cast<std::ptrdiff_t>(at + length));
        at += length;
        try {
            if (tag == 'F') {
                camera.writeFlashDirect(position, bytes);
            } else if (tag == 'C' && camera.hasRawDataObject(kCustomerDataId)) {
                camera.setRawData(kCustomerDataId, std::move(bytes));
            } else if (tag == 'V') {
                camera_->device().identity().firmwareVersion.assign(bytes.begin(), bytes.end());
            } else if (!takeBootStateRecord(*camera_, {tag, position, std::move(bytes)})) {
                throw damaged;
            }
        } catch (const std::out_of_range&) {
            throw damaged;
        } catch (const std::invalid_argument&) {
            throw damaged;
        }
    }
}

void Session::save() const {
    if (stateFile_.empty()) return;
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
    if (camera_->camera().hasRawDataObject(kCustomerDataId)) {
        const std::vector<uint8_t>& data = camera_->camera().rawData(kCustomerDataId);
        putRecord(out, 'C', 0, data.data(), data.size());
    }
    const std::string& version = camera_->device().identity().firmwareVersion;
    putRecord(out, 'V', 0, reinterpret_cast<const uint8_t*>(version.data()), version.size());
    for (const StateRecord& r : bootStateRecords(*camera_)) {
        putRecord(out, r.tag, r.position, r.bytes.data(), r.bytes.size());
    }

    const std::string temporary = stateFile_ + ".new";
    {
        std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
        if (!file.write(out.data(), static_cast<std::streamsize>(out.size())) || !file.flush()) {
            throw std::runtime_error("cannot write state file " + temporary);
        }
    }
    if (std::rename(temporary.c_str(), stateFile_.c_str()) != 0) {
        throw std::runtime_error("cannot replace state file " + stateFile_ + ": " +
                                 std::strerror(errno));
    }
}

std::string Session::describe() const {
    const Identity& id = camera_->device().identity();
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04X:%04X", static_cast<unsigned>(id.vid),
                  static_cast<unsigned>(id.pid));
    return "Emulated " + camera_->model().productName + " (" + camera_->model().name +
           (camera_->bootloader() ? ", bootloader" : "") + ", " + ids + ", " + id.connectionType +
           ", firmware " + id.firmwareVersion + installedImageText(*camera_) + ")";
}

std::string Session::report() const {
    const uint64_t injected = camera_->faults().injected();
    return injected == 0 ? std::string() : "Faults injected: " + std::to_string(injected);
}

}  // namespace vxsim
