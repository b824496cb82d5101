// Customer data over raw-data property 1052.
#include "customerdata/CustomerDataTransfer.h"

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "vendorcommand/VendorCommand.h"

namespace libvxsensor {

namespace {

constexpr uint32_t kCustomerDataProperty = 1052;

// The read path reuses the write wording ("writing", "write done"); it always has.
const char* messageFor(VXDataTranState state, const char* transferFailed) {
    switch (state) {
        case VX_DATA_TRAN_STATE_TRANSFERRING:
            return "Custom Data writing!";
        case VX_DATA_TRAN_STATE_VERIFYING:
            return "Data verifying!";
        case VX_DATA_TRAN_STATE_DONE:
            return "Custom Data write done!";
        case VX_DATA_TRAN_STATE_VERIFY_DONE:
            return "Data verify done!";
        case VX_DATA_TRAN_STATE_FAILED:
            return transferFailed;
        case VX_DATA_TRAN_STATE_VERIFY_FAILED:
            return "Data verify failed!";
        default:
            return kCustomDataWriteFailed;
    }
}

// The last state a transfer reported; -5 (never reported by the layer) until the first report.
struct Outcome {
    VXDataTranState state = VX_DATA_TRAN_STATE_NONE;
    std::string message;

    void set(VXDataTranState s, const char* transferFailed) {
        state = s;
        message = messageFor(s, transferFailed);
    }
    template <typename Transfer>
    void run(Transfer transfer) {
        try {
            transfer();
        } catch (const std::exception& e) {
            state = VX_DATA_TRAN_STATE_NONE;
            message = e.what();
        } catch (...) {
            state = VX_DATA_TRAN_STATE_NONE;
            message = "Write custom data exception: unknown";
        }
        if (state != VX_DATA_TRAN_STATE_DONE) {
            throw std::runtime_error(message);
        }
    }
};

}  // namespace

void writeCustomerDataArea(vx_device_t* device, const void* data, uint32_t size,
                           const char* transferFailedMessage) {
    if (data == nullptr && size != 0) {
        throw std::invalid_argument("Customer data pointer is null");
    }
    Outcome outcome;
    outcome.run([&] {
        const uint32_t packetSize = VendorCommand::packetSizeForConnection(device);
        VendorCommand::setRawData(
            device, kCustomerDataProperty, data, size,
            [&](VXDataTranState state, uint8_t) { outcome.set(state, transferFailedMessage); },
            packetSize);
    });
}

void readCustomerDataArea(vx_device_t* device, void* data, uint32_t* size, uint32_t familyArea) {
    Outcome outcome;
    std::vector<uint8_t> collected;
    outcome.run([&] {
        const uint32_t packetSize = VendorCommand::packetSizeForConnection(device);
        VendorCommand::getRawData(
            device, kCustomerDataProperty,
            [&](VXDataTranState state, VXDataChunk* chunk) {
                outcome.set(state, kCustomDataWriteFailed);
                if (state == VX_DATA_TRAN_STATE_TRANSFERRING) {
                    collected.insert(collected.end(), chunk->data, chunk->data + chunk->size);
                }
            },
            packetSize);
    });
    // The device decides how much it sends; a caller that names its capacity is protected
    // from an area larger than its buffer.
    // Without a capacity from the caller, the family's area is the most a buffer was sized for.
    const uint32_t capacity = size != nullptr && *size != 0 ? *size : familyArea;
    if ((capacity != 0 && collected.size() > capacity) || (data == nullptr && !collected.empty())) {
        throw std::runtime_error("The customer data (" + std::to_string(collected.size()) +
                                 " bytes) do not fit the buffer (" + std::to_string(capacity) +
                                 " bytes)");
    }
    if (!collected.empty()) {
        std::memcpy(data, collected.data(), collected.size());
    }
    if (size != nullptr) {
        *size = static_cast<uint32_t>(collected.size());
    }
}

}  // namespace libvxsensor
