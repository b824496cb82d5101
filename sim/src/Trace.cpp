// Text dump and summary of a device's recorded exchanges.
#include "vxsim/Trace.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "vxsim/Wire.h"

namespace vxsim {
namespace {

enum class Outcome { Transport, Malformed, Ok, Error, Warning };

Outcome outcomeOf(const Exchange& exchange, uint16_t& status) {
    if (exchange.transportError) return Outcome::Transport;
    const std::vector<uint8_t>& r = exchange.response;
    if (r.size() < wire::kResponseHeaderSize || r[0] != 'R' || r[1] != 'B') {
        return Outcome::Malformed;
    }
    status = wire::le16(&r[8]);
    if (status == 0) return Outcome::Ok;
    if (status >= 0x8000 && status != 0xFFFF) return Outcome::Warning;
    return Outcome::Error;
}

std::string opcodeLabel(uint16_t opcode) {
    const char* name = wire::opcodeName(opcode);
    if (std::strcmp(name, "UNKNOWN") != 0) return name;
    char text[24];
    std::snprintf(text, sizeof text, "UNKNOWN(0x%04X)", static_cast<unsigned>(opcode));
    return text;
}

std::string opcodeText(const std::vector<uint8_t>& request) {
    return request.size() >= 6 ? opcodeLabel(wire::le16(&request[4])) : std::string("?");
}

std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

std::string format(const char* pattern, ...) {
    char text[256];
    va_list args;
    va_start(args, pattern);
    std::vsnprintf(text, sizeof text, pattern, args);
    va_end(args);
    return text;
}

}  // namespace

void TraceSummary::add(const Exchange& exchange) {
    ++exchanges;
    bytesSent += exchange.request.size();
    bytesReceived += exchange.response.size();
    if (exchange.request.size() >= 6) ++perOpcode[wire::le16(&exchange.request[4])];
    uint16_t status = 0;
    switch (outcomeOf(exchange, status)) {
        case Outcome::Transport:
            ++transportErrors;
            break;
        case Outcome::Malformed:
            ++malformed;
            break;
        case Outcome::Error:
            ++deviceErrors;
            break;
        case Outcome::Warning:
            ++warnings;
            break;
        case Outcome::Ok:
            break;
    }
}

TraceSummary summarizeExchanges(const Device& device) {
    return device.totals();
}

std::string dumpExchanges(const Device& device) {
    std::string out;
    size_t index = 0;
    for (const Exchange& exchange : device.exchanges()) {
        const std::vector<uint8_t>& request = exchange.request;
        const std::string id =
            request.size() >= 8 ? std::to_string(wire::le16(&request[6])) : std::string("-");
        out += format("%6zu %-30s id=%-5s req=%-6zu ", index++, opcodeText(request).c_str(),
                      id.c_str(), request.size());
        uint16_t status = 0;
        const Outcome outcome = outcomeOf(exchange, status);
        const bool failed = outcome == Outcome::Transport;
        out +=
            format("resp=%-6s ", failed ? "-" : std::to_string(exchange.response.size()).c_str());
        if (failed)
            out += "transport error\n";
        else if (outcome == Outcome::Malformed)
            out += "malformed\n";
        else
            out += format("status=0x%04X\n", static_cast<unsigned>(status));
    }

    const TraceSummary s = summarizeExchanges(device);
    out += format("%llu exchanges, %llu transport errors, %llu device errors, %llu warnings",
                  static_cast<unsigned long long>(s.exchanges),
                  static_cast<unsigned long long>(s.transportErrors),
                  static_cast<unsigned long long>(s.deviceErrors),
                  static_cast<unsigned long long>(s.warnings));
    if (s.malformed > 0) {
        out += format(", %llu malformed", static_cast<unsigned long long>(s.malformed));
    }
    out +=
        format("; sent %llu bytes, received %llu\n", static_cast<unsigned long long>(s.bytesSent),
               static_cast<unsigned long long>(s.bytesReceived));
    std::string counts;
    for (const auto& [opcode, n] : s.perOpcode) {
        if (!counts.empty()) counts += ", ";
        counts += opcodeLabel(opcode) + " " + std::to_string(n);
    }
    if (!counts.empty()) out += "  " + counts + "\n";
    return out;
}

}  // namespace vxsim
