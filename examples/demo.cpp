// A first look at the wire: sends a few vendor requests to an emulated camera through the
// library's protocol layer and prints every exchange as the host saw it.
#include <cstdio>
#include <map>
#include <memory>
#include <vector>

#include "vendorcommand/Protocol.h"
#include "vxsim/Emulator.h"
#include "vxsim/Wire.h"

namespace proto = libvxsensor::protocol;
namespace wire = vxsim::wire;

namespace {

// Just enough of a camera for the demo: integer properties that can be read and set.
class PropertyCamera : public vxsim::Responder {
public:
    vxsim::Reply exchange(const std::vector<uint8_t>& bytes, uint32_t) override {
        const auto request = wire::parseRequest(bytes);
        if (!request) return vxsim::Reply::transportFailure("not a vendor request");
        const uint32_t id = request->u32(0);
        if (request->opcode == wire::SetProperty) {
            properties_[id] = request->u32(4);
            return wire::okReply(*request);
        }
        if (request->opcode == wire::GetProperty) {
            const auto it = properties_.find(id);
            if (it == properties_.end()) return wire::statusReply(*request, 0x0021, "no such property");
            std::vector<uint8_t> data;
            wire::putLe32(data, it->second);
            data.resize(20, 0);  // current value, then min/max/step/default the library ignores
            return wire::okReply(*request, data);
        }
        return wire::statusReply(*request, 0x0010, "opcode not supported");
    }

private:
    std::map<uint32_t, uint32_t> properties_{{133, 1}};
};

void printBytes(const char* label, const std::vector<uint8_t>& bytes) {
    std::printf("    %s", label);
    for (uint8_t b : bytes) std::printf(" %02x", b);
    std::printf("\n");
}

void send(vx_device_t* device, const char* what, std::vector<uint8_t>& request, uint16_t length) {
    std::vector<uint8_t> response(1024);
    uint16_t received = 0;
    const proto::HpStatus status = proto::execute(device, request.data(), length, response.data(), &received);
    std::printf("%-34s -> status %d%s%s\n", what, static_cast<int>(status.statusCode),
                status.msg.empty() ? "" : ": ", status.msg.c_str());
}

}  // namespace

int main() {
    vxsim::Device camera({0x3A6E, 0x0840, "USB3.0", "1.7.16", {}});
    camera.setResponder(std::make_shared<PropertyCamera>());
    std::vector<uint8_t> request(1024);

    proto::initGetPropertyReq(request.data(), 133);
    send(camera.handle(), "get property 133 (recovery mode)", request, 12);
    proto::initSetPropertyReq(request.data(), 213, 1);
    send(camera.handle(), "set property 213 = 1", request, 16);
    proto::initGetPropertyReq(request.data(), 213);
    send(camera.handle(), "get property 213", request, 12);
    proto::initGetPropertyReq(request.data(), 999);
    send(camera.handle(), "get property 999 (unknown)", request, 12);
    proto::initEraseFlashReq(request.data(), 0xA1000, 4096);
    send(camera.handle(), "erase flash (not served here)", request, 16);

    std::printf("\nWhat went over the wire (%zu exchanges):\n", camera.exchanges().size());
    for (const vxsim::Exchange& e : camera.exchanges()) {
        const auto request_ = wire::parseRequest(e.request);
        std::printf("  %s id=%u sent=%zu received=%u of %u\n",
                    wire::opcodeName(request_ ? request_->opcode : 0),
                    request_ ? request_->requestId : 0, e.request.size(), e.reportedLength, e.capacity);
        printBytes("request ", e.request);
        printBytes("response", e.response);
    }
    return 0;
}
