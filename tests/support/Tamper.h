// A responder that passes requests to a virtual camera and lets a test alter single answers,
// for failures that the camera itself would never produce.
#pragma once

#include <functional>
#include <map>
#include <memory>

#include "vxsim/VirtualCamera.h"

class Tamper : public vxsim::Responder {
public:
    // Called with the request, its index among requests of the same opcode, and the answer.
    using Edit = std::function<void(const vxsim::wire::Request&, int nth, vxsim::Reply&)>;

    Tamper(std::shared_ptr<vxsim::VirtualCamera> camera, Edit edit)
        : camera_(std::move(camera)), edit_(std::move(edit)) {}

    vxsim::Reply exchange(const std::vector<uint8_t>& bytes, uint32_t capacity) override {
        vxsim::Reply reply = camera_->exchange(bytes, capacity);
        if (const auto request = vxsim::wire::parseRequest(bytes)) {
            edit_(*request, seen_[request->opcode]++, reply);
        }
        return reply;
    }
    bool structuredData(uint32_t id, std::vector<uint8_t>& out) override {
        return camera_->structuredData(id, out);
    }

private:
    std::shared_ptr<vxsim::VirtualCamera> camera_;
    Edit edit_;
    std::map<uint16_t, int> seen_;
};
