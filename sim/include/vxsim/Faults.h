// Fault injection by plan: rules that pick exchanges of a device and spoil them in one way each,
// to test how a host program copes with a flaky link or an unwilling camera.
//
//   auto plan = vxsim::attachFaults(device);             // wraps the device's responder
//   plan->add(vxsim::FaultRule::onOpcode(vxsim::wire::WriteFlash, 2, vxsim::Fault::busy()))
//        .add(vxsim::FaultRule::atExchange(40, vxsim::Fault::truncate(6)))
//        .disappearAfter(100);
//   ... run the update ...
//   EXPECT_EQ(plan->injected(vxsim::FaultKind::Busy), 1u);
//
// Whether the camera executes a spoiled request:
//   not executed (the camera never sees it): TransportError, Disappear, Busy, DeviceError
//   executed, its answer altered on the way back: StaleRequestId, DeviceWarning, BadMagic,
//     Truncate, OverlongBody, OverlongLength, BitFlip
// So a retried write after Busy is the first write; after Truncate it is the second.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "vxsim/Emulator.h"

namespace vxsim {

enum class FaultKind {
    TransportError,  // the host call fails with an error object
    StaleRequestId,  // the answer carries the previous request's id
    Busy,            // status 3, no data
    DeviceError,     // status `value` (1..0x7FFF), no data
    DeviceWarning,   // status replaced by `value` (0x8000..0xFFFE), data kept
    BadMagic,        // the answer starts with "XX" instead of "RB"
    Truncate,        // the answer is cut to `value` bytes
    OverlongBody,    // `value` bytes of 0xEE follow what the header declares (as far as the
                     // capacity lets them through)
    OverlongLength,  // the received length reported is the capacity plus `value`
    BitFlip,         // bit `value` (modulo the data's bits) of the data from byte 10 flips;
                     // an answer without data is left alone and not counted
    Disappear,       // this and every later exchange is a transport error
};
constexpr size_t kFaultKindCount = 11;
const char* faultKindName(FaultKind kind);

struct Fault {
    FaultKind kind = FaultKind::TransportError;
    uint32_t value = 0;

    static Fault transportError() { return {FaultKind::TransportError, 0}; }
    static Fault staleRequestId() { return {FaultKind::StaleRequestId, 0}; }
    static Fault busy() { return {FaultKind::Busy, 3}; }
    // std::invalid_argument when the code is not an error (warning) status.
    static Fault deviceError(uint16_t code = 1);
    static Fault deviceWarning(uint16_t code = 0x8001);
    static Fault badMagic() { return {FaultKind::BadMagic, 0}; }
    static Fault truncate(uint32_t keepBytes) { return {FaultKind::Truncate, keepBytes}; }
    static Fault overlongBody(uint32_t extra = 4) { return {FaultKind::OverlongBody, extra}; }
    static Fault overlongLength(uint32_t extra = 64) { return {FaultKind::OverlongLength, extra}; }
    static Fault bitFlip(uint32_t bit = 0) { return {FaultKind::BitFlip, bit}; }
    static Fault disappear() { return {FaultKind::Disappear, 0}; }
};

// Which exchanges a rule spoils. Exchanges are counted from 0 as they reach the plan; host
// failure switches (Host::failCall) stop a call before that and are not counted.
struct FaultRule {
    enum class Match { NthExchange, EveryOfOpcode, NthOfOpcode };
    Match match = Match::NthExchange;
    uint64_t n = 0;
    uint16_t opcode = 0;
    Fault fault;

    static FaultRule atExchange(uint64_t n, Fault fault);
    static FaultRule onOpcode(uint16_t opcode, Fault fault);
    static FaultRule onOpcode(uint16_t opcode, uint64_t n, Fault fault);
};

class FaultPlan {
public:
    // The first matching rule (in the order added) decides; one fault per exchange.
    FaultPlan& add(FaultRule rule);
    // Exchanges 0..n-1 go through; from exchange n on the device is gone.
    FaultPlan& disappearAfter(uint64_t n) {
        return add(FaultRule::atExchange(n, Fault::disappear()));
    }

    // Forgets rules, counts and a disappearance.
    void clear();
    // The device is back after a Disappear; rules and counts stay.
    void reconnect() { gone_ = false; }
    bool gone() const { return gone_; }

    uint64_t exchangesSeen() const { return exchanges_; }
    // Faults injected; every exchange lost to a disappearance counts as one Disappear.
    uint64_t injected() const;
    uint64_t injected(FaultKind kind) const { return injected_[static_cast<size_t>(kind)]; }

    // Runs one exchange through the plan: `device` sees it unless the fault keeps it away.
    Reply apply(const std::vector<uint8_t>& request, uint32_t capacity, Responder& device);

private:
    const FaultRule* match(uint64_t index, int opcode, uint64_t opcodeIndex) const;

    std::vector<FaultRule> rules_;
    uint64_t exchanges_ = 0;
    std::map<uint16_t, uint64_t> perOpcode_;
    bool havePreviousId_ = false;
    uint16_t previousId_ = 0;
    bool gone_ = false;
    std::array<uint64_t, kFaultKindCount> injected_{};
};

// A responder that sends every exchange through a plan on its way to the real one.
class FaultInjector : public Responder {
public:
    FaultInjector(std::shared_ptr<Responder> device, std::shared_ptr<FaultPlan> plan);
    Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override;
    // Host structured data is not spoiled, but a vanished device answers nothing.
    bool structuredData(uint32_t propertyId, std::vector<uint8_t>& out) override;

    FaultPlan& plan() { return *plan_; }

private:
    std::shared_ptr<Responder> device_;
    std::shared_ptr<FaultPlan> plan_;
};

// Puts a FaultInjector with a new, empty plan in front of the device's responder and returns
// the plan. std::invalid_argument when the device has no responder.
std::shared_ptr<FaultPlan> attachFaults(Device& device);

}  // namespace vxsim
