// Replay cameras: a trace served call by call, and the report of where a run left it.
#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "ReplayEngine.h"
#include "vxsim/Replay.h"
#include "vxsim/Wire.h"

namespace vxsim {

namespace {

using vxtrace::Call;
using vxtrace::Entry;

constexpr size_t kIdOffset = 6;
constexpr size_t kRawShown = 48;

uint16_t idOf(const std::vector<uint8_t>& bytes) {
    return wire::le16(&bytes[kIdOffset]);
}

void shiftId(std::vector<uint8_t>& bytes, uint16_t shift) {
    const auto id = static_cast<uint16_t>(idOf(bytes) + shift);
    bytes[kIdOffset] = static_cast<uint8_t>(id & 0xFFu);
    bytes[kIdOffset + 1] = static_cast<uint8_t>(id >> 8);
}

std::string hex(const std::vector<uint8_t>& bytes, size_t from, size_t count) {
    std::string out;
    char text[4];
    for (size_t i = from; i < bytes.size() && i < from + count; ++i) {
        std::snprintf(text, sizeof text, "%02x", bytes[i]);
        out += (i > from && (i - from) % 4 == 0 ? " " : "") + std::string(text);
    }
    return out;
}

// The call as people read it: the host function, its arguments, the request decoded.
std::string describe(const Entry& e) {
    char text[96];
    switch (e.call) {
        case Call::Send:
            std::snprintf(text, sizeof text, ", capacity %u", e.capacity);
            return std::string("send ") + wire::describeRequest(e.request) + text;
        case Call::Structured:
            std::snprintf(text, sizeof text, "(property %u, capacity %u)", e.property, e.capacity);
            return vxtrace::hostFunctionName(e.call) + std::string(text);
        case Call::ExtensionInfo:
            return vxtrace::hostFunctionName(e.call) + std::string("(\"") + e.key + "\")";
        default:
            return vxtrace::hostFunctionName(e.call) + std::string("()");
    }
}

// The first bytes of a request, and those around its first difference from the other's.
std::string raw(const std::vector<uint8_t>& bytes, std::optional<size_t> difference) {
    std::string out = hex(bytes, 0, kRawShown);
    if (bytes.size() > kRawShown) {
        if (difference && *difference >= kRawShown) {
            const size_t from = *difference / 16 * 16;
            out += " ... @" + std::to_string(from) + ": " + hex(bytes, from, 16);
        }
        out += " ... (" + std::to_string(bytes.size()) + " bytes)";
    }
    return out;
}

}  // namespace

ReplayEngine::ReplayEngine(vxtrace::Trace trace, std::string name)
    : trace_(std::move(trace)), name_(std::move(name)) {}

bool ReplayEngine::same(const Entry& expected, const Entry& seen) {
    if (expected.call != seen.call || expected.property != seen.property ||
        expected.key != seen.key || expected.capacity != seen.capacity ||
        expected.request.size() != seen.request.size()) {
        return false;
    }
    const std::vector<uint8_t>& a = expected.request;
    const std::vector<uint8_t>& b = seen.request;
    if (a.size() < kIdOffset + 2) return a == b;
    const auto shift = static_cast<uint16_t>(idOf(b) - idOf(a));
    if (idShift_ && *idShift_ != shift) return false;
    const auto idBytes = a.begin() + kIdOffset;
    if (!std::equal(a.begin(), idBytes, b.begin()) ||
        !std::equal(idBytes + 2, a.end(), b.begin() + kIdOffset + 2)) {
        return false;
    }
    idShift_ = shift;
    return true;
}

// Questions about the camera's identity change nothing on the camera and get the same answer
// however often they are asked, so a program that asks them more or fewer times, or elsewhere,
// is still the recorded run. What is ordered is the conversation with the camera.
bool ReplayEngine::isIdentity(Call call) {
    return call != Call::Send && call != Call::Structured;
}

const Entry* ReplayEngine::answer(const Entry& recorded, vx_error** error) {
    if (recorded.thrown) throw std::runtime_error(*recorded.thrown);
    if (recorded.error) {
        if (error != nullptr) {
            *error = host::newError(recorded.error->message, recorded.error->function);
        }
        return nullptr;
    }
    return &recorded;
}

const Entry* ReplayEngine::serve(const Entry& seen, vx_error** error) {
    const auto refuse = [&](const std::string& why) -> const Entry* {
        if (error != nullptr) *error = host::newError(why, vxtrace::hostFunctionName(seen.call));
        return nullptr;
    };
    if (divergence_) {
        return refuse("replay of " + name_ + " stopped at entry " +
                      std::to_string(divergence_->index + 1));
    }
    const std::vector<Entry>& entries = trace_.entries;
    if (isIdentity(seen.call)) {
        if (next_ < entries.size() && same(entries[next_], seen)) {
            return answer(entries[next_++], error);
        }
        // Asked where the recording did not: the answer it had nearest before, else after.
        for (size_t i = std::min(next_, entries.size()); i-- > 0;) {
            if (same(entries[i], seen)) return answer(entries[i], error);
        }
        for (size_t i = next_; i < entries.size(); ++i) {
            if (same(entries[i], seen)) return answer(entries[i], error);
        }
    } else {
        while (next_ < entries.size() && isIdentity(entries[next_].call)) ++next_;
        if (next_ < entries.size() && same(entries[next_], seen)) {
            return answer(entries[next_++], error);
        }
    }
    divergence_ = Divergence{next_, seen};
    return refuse("replay of " + name_ + " diverged at entry " + std::to_string(next_ + 1));
}

bool ReplayEngine::finished() const {
    return !divergence_ &&
           std::all_of(trace_.entries.begin() + static_cast<std::ptrdiff_t>(next_),
                       trace_.entries.end(), [](const Entry& e) { return isIdentity(e.call); });
}

vx_device_info* ReplayEngine::deviceInfo(vx_error** error) {
    Entry seen;
    seen.call = Call::DeviceInfo;
    const Entry* e = serve(seen, error);
    if (e == nullptr || !e->gotInfo) return nullptr;
    vx_device_info* info = host::newInfo();
    info->replay = this;
    return info;
}

int ReplayEngine::number(Call call, vx_error** error) {
    Entry seen;
    seen.call = call;
    const Entry* e = serve(seen, error);
    return e != nullptr ? e->value : 0;
}

const char* ReplayEngine::infoText(Call call, vx_device_info* info, vx_error** error) {
    Entry seen;
    seen.call = call;
    const Entry* e = serve(seen, error);
    if (e == nullptr || !e->text) return nullptr;
    // Kept in the info object: the text lives as long as the host promises, until its deletion.
    std::string& kept = call == Call::ConnectionType ? info->connectionType : info->firmwareVersion;
    kept = *e->text;
    return kept.c_str();
}

void ReplayEngine::deleteInfo(vx_device_info* info, vx_error** error) {
    Entry seen;
    seen.call = Call::DeleteInfo;
    serve(seen, error);
    host::deleteInfo(info);
}

void ReplayEngine::send(const uint8_t* request, uint32_t size, uint8_t* answer,
                        uint32_t* answerSize, vx_error** error) {
    Entry seen;
    if (request != nullptr) seen.request.assign(request, request + size);
    seen.capacity = answer != nullptr && answerSize != nullptr ? *answerSize : 0;
    const Entry* e = serve(seen, error);
    if (e == nullptr) return;
    std::vector<uint8_t> bytes = e->answer;
    if (bytes.size() >= kIdOffset + 2 && idShift_) shiftId(bytes, *idShift_);
    // Capacities matched, so the recorded answer fits the buffer.
    std::copy(bytes.begin(), bytes.end(), answer);
    if (answerSize != nullptr) *answerSize = e->received;
}

void ReplayEngine::structured(uint32_t property, uint8_t* data, uint32_t* size, vx_error** error) {
    Entry seen;
    seen.call = Call::Structured;
    seen.property = property;
    seen.capacity = data != nullptr && size != nullptr ? *size : 0;
    const Entry* e = serve(seen, error);
    if (e == nullptr) return;
    std::copy(e->answer.begin(), e->answer.end(), data);
    if (size != nullptr) *size = e->received;
}

const char* ReplayEngine::extensionInfo(const char* key, vx_error** error) {
    Entry seen;
    seen.call = Call::ExtensionInfo;
    seen.key = key != nullptr ? key : "";
    const Entry* e = serve(seen, error);
    if (e == nullptr || !e->text) return nullptr;
    extensionText_ = *e->text;
    return extensionText_.c_str();
}

std::string ReplayEngine::report() const {
    const std::string total = std::to_string(trace_.entries.size());
    if (finished()) {
        return "Replay: all " + total + " recorded host calls served in order";
    }
    if (!divergence_) {
        return "Replay: the run ended after entry " + std::to_string(next_) + " of " + total +
               "; next recorded: " + describe(trace_.entries[next_]);
    }
    const size_t index = divergence_->index;
    const Entry& seen = divergence_->seen;
    std::string out =
        "Replay: diverged at entry " + std::to_string(index + 1) + " of " + total + "\n";
    if (index >= trace_.entries.size()) {
        return out + "  expected: nothing (the trace ends)\n  seen:     " + describe(seen);
    }
    const Entry& expected = trace_.entries[index];
    std::optional<size_t> difference;
    const auto mismatch = std::mismatch(expected.request.begin(), expected.request.end(),
                                        seen.request.begin(), seen.request.end());
    if (mismatch.first != expected.request.end() || mismatch.second != seen.request.end()) {
        difference = static_cast<size_t>(mismatch.first - expected.request.begin());
    }
    out += "  expected: " + describe(expected) + "\n";
    if (expected.call == Call::Send)
        out += "            " + raw(expected.request, difference) + "\n";
    out += "  seen:     " + describe(seen);
    if (seen.call == Call::Send) out += "\n            " + raw(seen.request, difference);
    if (expected.call == Call::Send && seen.call == Call::Send && difference) {
        out += "\n  first difference at byte " + std::to_string(*difference);
    }
    return out;
}

ReplayCamera::ReplayCamera(const std::string& tracePath)
    : engine_(std::make_unique<ReplayEngine>(vxtrace::readTrace(tracePath), tracePath)) {}

ReplayCamera::~ReplayCamera() = default;

ReplayCamera* ReplayCamera::fromHandle(vx_device_t* device) {
    return dynamic_cast<ReplayCamera*>(device);
}

std::string ReplayCamera::describe() const {
    const vxtrace::Header& h = engine_->header();
    return "Replay of " + h.source + " (recorded by " + h.tool + ", " + h.date + ")";
}

uint64_t ReplayCamera::entries() const {
    return engine_->entries();
}

uint64_t ReplayCamera::served() const {
    return engine_->served();
}

bool ReplayCamera::diverged() const {
    return engine_->diverged();
}

bool ReplayCamera::matched() const {
    return engine_->finished();
}

std::string ReplayCamera::report() const {
    return engine_->report();
}

}  // namespace vxsim
