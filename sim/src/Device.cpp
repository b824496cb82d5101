// Emulated devices: identity, the responder that plays the device side, and the exchange log.
#include "vxsim/Emulator.h"

namespace vxsim {

Reply Reply::transportFailure(std::string message) {
    Reply reply;
    reply.transportError = true;
    reply.errorMessage = std::move(message);
    return reply;
}

bool Responder::structuredData(uint32_t /*propertyId*/, std::vector<uint8_t>& /*out*/) {
    return false;
}

Reply FunctionResponder::exchange(const std::vector<uint8_t>& request, uint32_t capacity) {
    return handler_(request, capacity);
}

Device::Device(Identity identity) : identity_(std::move(identity)) {}

Device::~Device() = default;

// A handle that is no Device (a replay camera's) or null comes back null, so the
// host functions can report it.
Device* Device::fromHandle(vx_device_t* device) {
    return dynamic_cast<Device*>(device);
}

// A failed exchange is accounted too: the request went out and the caller waited for it.
void Device::record(Exchange exchange) {
    if (link_) {
        modelledSeconds_ += link_->seconds(exchange.request.size(), exchange.response.size());
    }
    totals_.add(exchange);
    if (recording_) exchanges_.push_back(std::move(exchange));
}

void Device::setResponder(std::shared_ptr<Responder> responder) {
    responder_ = std::move(responder);
}

}  // namespace vxsim
