// Trace lines to and from JSON. Every field read from a trace is checked for its type and range
// before it is used: a trace may come from anywhere.
#include "Codec.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <limits>

namespace vxtrace::codec {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct CallName {
    Call call;
    const char* name;
    const char* function;
};
constexpr CallName kCalls[] = {
    {Call::Send, "send", "vx_device_send_and_receive_data"},
    {Call::Structured, "structured", "vx_device_get_structured_data"},
    {Call::DeviceInfo, "deviceInfo", "vx_device_get_device_info"},
    {Call::Vid, "vid", "vx_device_info_get_vid"},
    {Call::Pid, "pid", "vx_device_info_get_pid"},
    {Call::ConnectionType, "connectionType", "vx_device_info_get_connection_type"},
    {Call::FirmwareVersion, "firmwareVersion", "vx_device_info_get_firmware_version"},
    {Call::DeleteInfo, "deleteInfo", "vx_delete_device_info"},
    {Call::ExtensionInfo, "extensionInfo", "vx_device_get_extension_info"},
};

[[noreturn]] void fail(const std::string& where, const std::string& what) {
    throw TraceError(where + ": " + what);
}

const Json& field(const Json& object, const char* key, const std::string& where) {
    const auto found = object.find(key);
    if (found == object.end()) fail(where, std::string("no \"") + key + "\"");
    return *found;
}

uint64_t number(const Json& object, const char* key, uint64_t max, const std::string& where) {
    const Json& value = field(object, key, where);
    if (!value.is_number_unsigned() || value.get<uint64_t>() > max) {
        fail(where,
             std::string("\"") + key + "\" is not a number from 0 to " + std::to_string(max));
    }
    return value.get<uint64_t>();
}

std::string text(const Json& object, const char* key, const std::string& where) {
    const Json& value = field(object, key, where);
    if (!value.is_string()) fail(where, std::string("\"") + key + "\" is not a text");
    return value.get<std::string>();
}

std::vector<uint8_t> bytes(const Json& object, const char* key, const std::string& where) {
    return fromBase64(text(object, key, where), where + ": \"" + key + "\"");
}

bool hasAnswer(Call call) {
    return call == Call::Send || call == Call::Structured;
}

bool hasText(Call call) {
    return call == Call::ConnectionType || call == Call::FirmwareVersion ||
           call == Call::ExtensionInfo;
}

}  // namespace

std::string toBase64(const uint8_t* data, size_t size) {
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    for (size_t at = 0; at < size; at += 3) {
        const size_t n = std::min<size_t>(3, size - at);
        uint32_t group = uint32_t{data[at]} << 16;
        if (n > 1) group |= uint32_t{data[at + 1]} << 8;
        if (n > 2) group |= data[at + 2];
        for (size_t i = 0; i < 4; ++i) {
            out.push_back(i <= n ? kAlphabet[(group >> (18 - 6 * i)) & 0x3F] : '=');
        }
    }
    return out;
}

std::vector<uint8_t> fromBase64(const std::string& text, const std::string& what) {
    std::array<int8_t, 256> value{};
    value.fill(-1);
    for (int i = 0; i < 64; ++i) value[static_cast<uint8_t>(kAlphabet[i])] = static_cast<int8_t>(i);
    if (text.size() % 4 != 0) throw TraceError(what + " is not base64 (length)");
    std::vector<uint8_t> out;
    out.reserve(text.size() / 4 * 3);
    for (size_t at = 0; at < text.size(); at += 4) {
        const bool last = at + 4 == text.size();
        const size_t pad = last ? size_t{text[at + 3] == '='} + size_t{text[at + 2] == '='} : 0;
        uint32_t group = 0;
        for (size_t i = 0; i < 4; ++i) {
            const int8_t v = i < 4 - pad ? value[static_cast<uint8_t>(text[at + i])] : 0;
            if (v < 0) throw TraceError(what + " is not base64");
            group = group << 6 | static_cast<uint32_t>(v);
        }
        // Bits below the last whole byte must be zero: one text per byte string.
        if ((pad == 1 && (group & 0xFF) != 0) || (pad == 2 && (group & 0xFFFF) != 0)) {
            throw TraceError(what + " is not base64 (padding)");
        }
        for (size_t i = 0; i < 3 - pad; ++i)
            out.push_back(static_cast<uint8_t>(group >> (16 - 8 * i)));
    }
    return out;
}

uint64_t hash(uint64_t state, const char* data, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        state = (state ^ static_cast<uint8_t>(data[i])) * 0x100000001b3ULL;
    }
    return state;
}

std::string hashText(uint64_t hash) {
    char text[17];
    std::snprintf(text, sizeof text, "%016" PRIx64, hash);
    return text;
}

Json entryToJson(const Entry& e) {
    Json line{{"call", callName(e.call)}};
    if (e.call == Call::Send) line["request"] = toBase64(e.request.data(), e.request.size());
    if (e.call == Call::Structured) line["property"] = e.property;
    if (e.call == Call::ExtensionInfo) line["key"] = e.key;
    if (hasAnswer(e.call)) line["capacity"] = e.capacity;
    if (e.thrown) {
        line["thrown"] = *e.thrown;
    } else if (e.error) {
        line["error"] = {{"message", e.error->message}, {"function", e.error->function}};
    } else if (hasAnswer(e.call)) {
        line["answer"] = toBase64(e.answer.data(), e.answer.size());
        line["received"] = e.received;
    } else if (e.call == Call::Vid || e.call == Call::Pid) {
        line["value"] = e.value;
    } else if (hasText(e.call)) {
        line["text"] = e.text ? Json(*e.text) : Json(nullptr);
    } else if (e.call == Call::DeviceInfo) {
        line["info"] = e.gotInfo;
    }
    return line;
}

Entry entryFromJson(const Json& line, const std::string& where) {
    if (!line.is_object()) fail(where, "not a JSON object");
    const std::string name = text(line, "call", where);
    const auto* known = std::find_if(std::begin(kCalls), std::end(kCalls),
                                     [&](const CallName& c) { return name == c.name; });
    if (known == std::end(kCalls)) fail(where, "unknown call \"" + name + "\"");
    Entry e;
    e.call = known->call;
    constexpr uint32_t kMax32 = std::numeric_limits<uint32_t>::max();
    if (e.call == Call::Send) e.request = bytes(line, "request", where);
    if (e.call == Call::Structured) {
        e.property = static_cast<uint32_t>(number(line, "property", kMax32, where));
    }
    if (e.call == Call::ExtensionInfo) e.key = text(line, "key", where);
    if (hasAnswer(e.call))
        e.capacity = static_cast<uint32_t>(number(line, "capacity", kMax32, where));
    if (line.contains("thrown")) {
        e.thrown = text(line, "thrown", where);
    } else if (line.contains("error")) {
        const Json& error = line["error"];
        if (!error.is_object()) fail(where, "\"error\" is not an object");
        e.error = HostError{text(error, "message", where), text(error, "function", where)};
    } else if (hasAnswer(e.call)) {
        e.answer = bytes(line, "answer", where);
        e.received = static_cast<uint32_t>(number(line, "received", kMax32, where));
        if (e.answer.size() > e.capacity) fail(where, "an answer larger than the capacity offered");
    } else if (e.call == Call::Vid || e.call == Call::Pid) {
        const Json& value = field(line, "value", where);
        if (!value.is_number_integer() || value.get<int64_t>() < INT32_MIN ||
            value.get<int64_t>() > INT32_MAX) {
            fail(where, "\"value\" is not a 32-bit number");
        }
        e.value = static_cast<int>(value.get<int64_t>());
    } else if (hasText(e.call)) {
        const Json& value = field(line, "text", where);
        if (!value.is_null()) e.text = text(line, "text", where);
    } else if (e.call == Call::DeviceInfo) {
        const Json& info = field(line, "info", where);
        if (!info.is_boolean()) fail(where, "\"info\" is not true or false");
        e.gotInfo = info.get<bool>();
    }
    return e;
}

Json headerToJson(const Header& h, const std::vector<EmbeddedFile>& files) {
    Json outcome = nullptr;
    if (h.outcome) {
        Json callbacks = Json::array();
        for (const Callback& c : h.outcome->callbacks) {
            callbacks.push_back(Json::array({c.state, c.message, c.percent}));
        }
        outcome = {{"exit", h.outcome->exit},
                   {"result", h.outcome->result},
                   {"state", h.outcome->state ? Json(*h.outcome->state) : Json(nullptr)},
                   {"message", h.outcome->message},
                   {"callbacks", callbacks}};
    }
    Json groups = Json::array();
    for (const auto& [group, records] : h.deviceGroups) {
        groups.push_back(Json::array({group, toBase64(records.data(), records.size())}));
    }
    Json slots = Json::array();
    for (const EmbeddedFile& f : files) {
        // A file not carried that was read from a trace is known by what its header said.
        const bool read = !f.carried && f.bytes.empty();
        slots.push_back({{"name", f.name},
                         {"size", read ? f.size : f.bytes.size()},
                         {"checksum", read ? f.checksum : fileChecksum(f.bytes)},
                         {"carried", f.carried}});
    }
    return {{"format", "vxsensor-trace"},
            {"version", h.version},
            {"library", h.library},
            {"tool", h.tool},
            {"date", h.date},
            {"source", h.source},
            {"virtualTime", h.virtualTime},
            {"deviceGroups", groups},
            {"identity", h.identity},
            {"command", h.command},
            {"outcome", outcome},
            {"files", slots}};
}

Header headerFromJson(const Json& line, std::vector<FileSlot>& files, std::string& checksum) {
    const std::string where = "line 1 (the header)";
    if (!line.is_object() || !line.contains("format") || line["format"] != "vxsensor-trace") {
        throw TraceError("not a trace: its first line is no vxsensor-trace header");
    }
    Header h;
    h.version = static_cast<int>(number(line, "version", 1000, where));
    if (h.version != kFormatVersion) {
        throw TraceError("trace format version " + std::to_string(h.version) +
                         "; this build reads version " + std::to_string(kFormatVersion));
    }
    h.library = text(line, "library", where);
    h.tool = text(line, "tool", where);
    h.date = text(line, "date", where);
    h.source = text(line, "source", where);
    const Json& virtualTime = field(line, "virtualTime", where);
    if (!virtualTime.is_boolean()) fail(where, "\"virtualTime\" is not true or false");
    h.virtualTime = virtualTime.get<bool>();
    for (const Json& g : field(line, "deviceGroups", where)) {
        if (!g.is_array() || g.size() != 2 || !g[0].is_number_unsigned() ||
            g[0].get<uint64_t>() > UINT16_MAX || !g[1].is_string()) {
            fail(where, "a device group is not [type, records]");
        }
        h.deviceGroups.emplace_back(
            static_cast<uint16_t>(g[0].get<uint64_t>()),
            fromBase64(g[1].get<std::string>(), where + ": a device group"));
    }
    h.identity = field(line, "identity", where);
    h.command = field(line, "command", where);
    if (!h.command.is_null() && !h.command.is_array()) fail(where, "\"command\" is not a list");
    const Json& outcome = field(line, "outcome", where);
    if (!outcome.is_null()) {
        if (!outcome.is_object()) fail(where, "\"outcome\" is not an object");
        Outcome o;
        const Json& exit = field(outcome, "exit", where);
        const Json& state = field(outcome, "state", where);
        if (!exit.is_number_integer() || !(state.is_null() || state.is_number_integer())) {
            fail(where, "the outcome's exit or state is not a number");
        }
        o.exit = exit.get<int>();
        if (!state.is_null()) o.state = state.get<int>();
        o.result = text(outcome, "result", where);
        o.message = text(outcome, "message", where);
        for (const Json& c : field(outcome, "callbacks", where)) {
            if (!c.is_array() || c.size() != 3 || !c[0].is_number_integer() || !c[1].is_string() ||
                !c[2].is_number_integer()) {
                fail(where, "a callback is not [state, message, percent]");
            }
            o.callbacks.push_back({c[0].get<int>(), c[1].get<std::string>(), c[2].get<int>()});
        }
        h.outcome = std::move(o);
    }
    const Json& slots = field(line, "files", where);
    if (!slots.is_array()) fail(where, "\"files\" is not a list");
    for (const Json& slot : slots) {
        if (!slot.is_object()) fail(where, "a file is not an object");
        const Json& carried = field(slot, "carried", where);
        if (!carried.is_boolean()) fail(where, "a file's \"carried\" is not true or false");
        files.push_back({text(slot, "name", where), number(slot, "size", UINT32_MAX, where),
                         text(slot, "checksum", where), carried.get<bool>()});
    }
    h.entries = number(line, "entries", UINT32_MAX, where);
    checksum = text(line, "checksum", where);
    return h;
}

}  // namespace vxtrace::codec

namespace vxtrace {

std::string fileChecksum(const std::vector<uint8_t>& bytes) {
    return codec::hashText(
        codec::hash(codec::kHashStart, reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

const char* callName(Call call) {
    for (const auto& c : codec::kCalls)
        if (c.call == call) return c.name;
    return "?";
}

const char* hostFunctionName(Call call) {
    for (const auto& c : codec::kCalls)
        if (c.call == call) return c.function;
    return "?";
}

}  // namespace vxtrace
