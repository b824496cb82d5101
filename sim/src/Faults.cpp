// The fault plan: matching exchanges to rules and spoiling answers. It works on raw bytes, so it
// spoils any responder's answers, not only a virtual camera's.
#include "vxsim/Faults.h"

#include <numeric>
#include <stdexcept>
#include <utility>

#include "vxsim/Wire.h"

namespace vxsim {
namespace {

constexpr size_t kStatusOffset = 8;
constexpr size_t kDataOffset = wire::kResponseHeaderSize;

void putLe16At(std::vector<uint8_t>& bytes, size_t offset, uint16_t value) {
    bytes[offset] = static_cast<uint8_t>(value & 0xFFu);
    bytes[offset + 1] = static_cast<uint8_t>(value >> 8);
}

}  // namespace

const char* faultKindName(FaultKind kind) {
    switch (kind) {
        case FaultKind::TransportError:
            return "transport error";
        case FaultKind::StaleRequestId:
            return "stale request id";
        case FaultKind::Busy:
            return "busy";
        case FaultKind::DeviceError:
            return "device error";
        case FaultKind::DeviceWarning:
            return "device warning";
        case FaultKind::BadMagic:
            return "bad magic";
        case FaultKind::Truncate:
            return "truncated response";
        case FaultKind::OverlongBody:
            return "over-long response";
        case FaultKind::OverlongLength:
            return "over-long received length";
        case FaultKind::BitFlip:
            return "bit flip";
        case FaultKind::Disappear:
            return "device gone";
    }
    return "?";
}

Fault Fault::deviceError(uint16_t code) {
    if (code == 0 || code >= 0x8000) throw std::invalid_argument("not a device error status");
    return {FaultKind::DeviceError, code};
}

Fault Fault::deviceWarning(uint16_t code) {
    if (code < 0x8000 || code == 0xFFFF) throw std::invalid_argument("not a warning status");
    return {FaultKind::DeviceWarning, code};
}

FaultRule FaultRule::atExchange(uint64_t n, Fault fault) {
    return {Match::NthExchange, n, 0, fault};
}

FaultRule FaultRule::onOpcode(uint16_t opcode, Fault fault) {
    return {Match::EveryOfOpcode, 0, opcode, fault};
}

FaultRule FaultRule::onOpcode(uint16_t opcode, uint64_t n, Fault fault) {
    return {Match::NthOfOpcode, n, opcode, fault};
}

FaultPlan& FaultPlan::add(FaultRule rule) {
    rules_.push_back(rule);
    return *this;
}

void FaultPlan::clear() {
    *this = FaultPlan{};
}

uint64_t FaultPlan::injected() const {
    return std::accumulate(injected_.begin(), injected_.end(), uint64_t{0});
}

// `opcode` is -1 for a request too short to carry one: only exchange rules can match it.
const FaultRule* FaultPlan::match(uint64_t index, int opcode, uint64_t opcodeIndex) const {
    for (const FaultRule& rule : rules_) {
        switch (rule.match) {
            case FaultRule::Match::NthExchange:
                if (rule.n == index) return &rule;
                break;
            case FaultRule::Match::EveryOfOpcode:
                if (rule.opcode == opcode) return &rule;
                break;
            case FaultRule::Match::NthOfOpcode:
                if (rule.opcode == opcode && rule.n == opcodeIndex) return &rule;
                break;
        }
    }
    return nullptr;
}

Reply FaultPlan::apply(const std::vector<uint8_t>& request, uint32_t capacity, Responder& device) {
    const uint64_t index = exchanges_++;
    int opcode = -1;
    uint64_t opcodeIndex = 0;
    if (request.size() >= 6) {
        const uint16_t op = wire::le16(&request[4]);
        opcode = op;
        opcodeIndex = perOpcode_[op]++;
    }
    const uint16_t id = request.size() >= 8 ? wire::le16(&request[6]) : 0;
    // The id a late answer to the previous request would carry; never the current one.
    uint16_t staleId = havePreviousId_ ? previousId_ : static_cast<uint16_t>(id - 1);
    if (staleId == id) staleId = static_cast<uint16_t>(id - 1);
    previousId_ = id;
    havePreviousId_ = true;

    const auto count = [this](FaultKind kind) { ++injected_[static_cast<size_t>(kind)]; };
    if (gone_) {
        count(FaultKind::Disappear);
        return Reply::transportFailure("device disconnected");
    }
    const FaultRule* rule = match(index, opcode, opcodeIndex);
    if (rule == nullptr) return device.exchange(request, capacity);

    const Fault fault = rule->fault;
    const auto answer = [&](uint16_t status) {
        Reply reply;
        const auto echoed = static_cast<uint16_t>(opcode < 0 ? 0 : opcode);
        reply.bytes = wire::makeResponse(echoed, id, status);
        if (reply.bytes.size() > capacity) reply.bytes.resize(capacity);
        return reply;
    };
    switch (fault.kind) {
        case FaultKind::TransportError:
            count(fault.kind);
            return Reply::transportFailure("injected transport error");
        case FaultKind::Disappear:
            count(fault.kind);
            gone_ = true;
            return Reply::transportFailure("device disconnected");
        case FaultKind::Busy:
        case FaultKind::DeviceError:
            count(fault.kind);
            return answer(static_cast<uint16_t>(fault.value));
        default:
            break;
    }

    // The rest spoil the answer of a request the device did execute.
    Reply reply = device.exchange(request, capacity);
    if (reply.transportError || reply.hostThrows) return reply;
    std::vector<uint8_t>& bytes = reply.bytes;
    switch (fault.kind) {
        case FaultKind::StaleRequestId:
            if (bytes.size() < 8) return reply;
            putLe16At(bytes, 6, staleId);
            break;
        case FaultKind::DeviceWarning:
            if (bytes.size() < kDataOffset) return reply;
            putLe16At(bytes, kStatusOffset, static_cast<uint16_t>(fault.value));
            break;
        case FaultKind::BadMagic:
            if (bytes.size() < 2) return reply;
            bytes[0] = 'X';
            bytes[1] = 'X';
            break;
        case FaultKind::Truncate:
            if (bytes.size() <= fault.value) return reply;
            bytes.resize(fault.value);
            break;
        case FaultKind::OverlongBody:
            bytes.insert(bytes.end(), fault.value, uint8_t{0xEE});
            break;
        case FaultKind::OverlongLength:
            reply.reportedLength = capacity + fault.value;
            break;
        case FaultKind::BitFlip: {
            if (bytes.size() <= kDataOffset) return reply;
            const uint64_t bit = fault.value % ((bytes.size() - kDataOffset) * 8);
            bytes[kDataOffset + static_cast<size_t>(bit / 8)] ^=
                static_cast<uint8_t>(1u << (bit % 8));
            break;
        }
        default:
            break;
    }
    count(fault.kind);
    return reply;
}

FaultInjector::FaultInjector(std::shared_ptr<Responder> device, std::shared_ptr<FaultPlan> plan)
    : device_(std::move(device)), plan_(std::move(plan)) {
    if (!device_ || !plan_) throw std::invalid_argument("fault injector needs a device and a plan");
}

Reply FaultInjector::exchange(const std::vector<uint8_t>& request, uint32_t capacity) {
    return plan_->apply(request, capacity, *device_);
}

bool FaultInjector::structuredData(uint32_t propertyId, std::vector<uint8_t>& out) {
    return !plan_->gone() && device_->structuredData(propertyId, out);
}

std::shared_ptr<FaultPlan> attachFaults(Device& device) {
    auto plan = std::make_shared<FaultPlan>();
    std::shared_ptr<Responder> inner = device.sharedResponder();
    if (!inner) throw std::invalid_argument("attachFaults: the device has no responder");
    device.setResponder(std::make_shared<FaultInjector>(std::move(inner), plan));
    return plan;
}

}  // namespace vxsim
