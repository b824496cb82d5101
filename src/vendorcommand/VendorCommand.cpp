// Packet sizing, property and structure-data commands.
#include "vendorcommand/VendorCommand.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "DevicePidAndMap.h"
#include "common/DeviceInfo.h"
#include "common/LogExt.h"
#include "vendorcommand/CommandBuffers.h"

namespace libvxsensor::VendorCommand {

namespace {

constexpr uint32_t kPresetClearProperty = 213;
constexpr uint32_t kPresetFinishProperty = 214;
constexpr uint32_t kL845SeMaxPacket = 512;

void releaseSilently(vx_error* error) {
    if (error != nullptr) {
        vx_delete_error(error);
    }
}

// One warning with the host's message, then the error is released: the message text belongs to
// the error object, so it is read while the object still lives.
void logFallback(const char* failedCall, vx_error* error) {
    const char* text = vx_error_get_message(error);
    log_ext(
        VX_LOG_SEVERITY_WARN, VX_SOURCE_LOC,
        "packetSizeForConnection: {} failed (msg: {}), falling back to DEFAULT_PACKET_SIZE ({})",
        failedCall, text != nullptr ? text : "", DEFAULT_PACKET_SIZE);
    vx_delete_error(error);
}

bool setPropertyAccepted(vx_device_t* device, uint32_t propertyId) {
    CommandBuffers buffers;
    protocol::initSetPropertyReq(buffers.request.data(), propertyId, 1);
    return protocol::checkStatus(buffers.send(device, 16), false);
}

}  // namespace

uint32_t packetSizeForConnection(vx_device_t* device) {
    vx_error* error = nullptr;
    vx_device_info* info = vx_device_get_device_info(device, &error);
    if (error != nullptr) {
        logFallback("vx_device_get_device_info", error);
        return DEFAULT_PACKET_SIZE;
    }
    const char* text = vx_device_info_get_connection_type(info, &error);
    const std::string connection = error == nullptr && text != nullptr ? text : "";
    if (error != nullptr) {
        logFallback("vx_device_info_get_connection_type", error);
        error = nullptr;
        vx_delete_device_info(info, &error);
        releaseSilently(error);
        return DEFAULT_PACKET_SIZE;
    }
    error = nullptr;
    vx_delete_device_info(info, &error);
    releaseSilently(error);
    return packetSizeForConnectionType(connection);
}

uint32_t packetSizeForConnectionType(const std::string& connectionType) {
    if (connectionType == "GMSL2") {
        return 232;
    }
    if (connectionType == "Ethernet") {
        return 560;
    }
    return 480;
}

uint32_t resolvePacketSize(vx_device_t* device, uint32_t requested) {
    if (requested <= kL845SeMaxPacket) {
        return requested;
    }
    // Released silently: a failed release must not stop a flash transfer whose sizing succeeded.
    const DeviceInfo info(device);
    const uint16_t pid = info.pid();
    const DeviceIds ids{info.vid(), pid};
    return isInGroup(DeviceGroup::L845Se, ids) ? kL845SeMaxPacket : requested;
}

bool clearOptionalDepthPresets(vx_device_t* device) {
    return setPropertyAccepted(device, kPresetClearProperty);
}

bool FinishUpgradingOptionalDepthPresets(vx_device_t* device) {
    return setPropertyAccepted(device, kPresetFinishProperty);
}

void getPropertyValue(vx_device_t* device, uint32_t propertyId, VXPropertyValue& value) {
    CommandBuffers buffers;
    protocol::initGetPropertyReq(buffers.request.data(), propertyId);
    protocol::checkStatus(buffers.send(device, 12), true);
    const auto resp =
        protocol::parseGetPropertyResp(buffers.response.data(), buffers.responseLength);
    value.intValue = resp.currentValue();
}

void getStructureData(vx_device_t* device, uint32_t propertyId, uint8_t* data, uint32_t& dataSize,
                      uint32_t expectedSize) {
    CommandBuffers buffers;
    protocol::initGetStructureDataReq(buffers.request.data(), propertyId);
    // A refused answer is not a structure: its data area holds the camera's error text, and after
    // a failed retry the buffer may still hold the stale first answer. Only a good answer is
    // parsed; anything else is raised as checkStatus words it (a warning is refused too).
    const protocol::HpStatus status = buffers.send(device, 12);
    if (!protocol::checkStatus(status, true)) {
        throw std::runtime_error("getStructureData: device answered with a warning, no data");
    }
    const auto resp =
        protocol::parseGetStructureDataResp(buffers.response.data(), buffers.responseLength);
    const uint16_t payload = protocol::getStructureDataSize(resp);
    if (payload == 0) {
        protocol::checkStatus({protocol::HP_STATUS_DATA_SIZE_INVALID, 0xFFFF,
                               "get structure data return data size invalid"},
                              true);
        dataSize = 0;
        return;
    }
    if (payload > dataSize) {
        throw std::runtime_error("getStructureData: buffer too small!");
    }
    if (expectedSize != 0 && payload > expectedSize) {
        throw std::runtime_error("getStructureData: response size is invalid!");
    }
    if (payload > buffers.receivedData()) {
        // The header claims more structure than the answer carried.
        throw std::runtime_error("Device response with wrong data size");
    }
    dataSize = payload;
    std::memcpy(data, resp.data(), payload);
}

}  // namespace libvxsensor::VendorCommand
