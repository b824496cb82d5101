// Request and response buffers owned by one command, and the send-validate step every command
// shares.
#pragma once

#include <cstdint>
#include <vector>

#include "vendorcommand/Protocol.h"

namespace libvxsensor::VendorCommand {

inline constexpr uint32_t kCommandBufferSize = 1024;

struct CommandBuffers {
    explicit CommandBuffers(uint32_t requestSize = kCommandBufferSize)
        : request(requestSize, 0), response(kCommandBufferSize, 0) {}

    // Sends the request built in `request` and validates the answer.
    protocol::HpStatus send(vx_device_t* device, uint32_t requestLength) {
        responseLength = 0;
        return protocol::execute(device, request.data(), static_cast<uint16_t>(requestLength),
                                 response.data(), &responseLength);
    }

    // Data bytes the last answer carried after its header.
    uint32_t receivedData() const {
        return responseLength > protocol::kRespHeaderSize
                   ? responseLength - protocol::kRespHeaderSize
                   : 0;
    }

    std::vector<uint8_t> request;
    std::vector<uint8_t> response;
    uint16_t responseLength = 0;
};

}  // namespace libvxsensor::VendorCommand
