// What an update learns of a camera before it writes anything. The updaters ask these
// questions in their own order; LiveDevice puts each to the camera as it is asked, and
// DescribedCamera answers from a description, so a file can be judged for a camera that is not
// connected (what `vxfw inspect` shows for every model) by the very checks an update makes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "DevicePidAndMap.h"
#include "vxsensor/vx_host.h"

namespace libvxsensor {

// The identity an L840-family bootloader keeps in flash, as far as it could be read.
struct SavedIdentity {
    bool readFailed = false;
    DeviceIds ids{kVendorId, kBootloaderPid};  // still the bootloader's when nothing was recognised
};

class DeviceFacts {
public:
    virtual ~DeviceFacts() = default;

    virtual DeviceIds ids() = 0;
    // The product id and the connection type, from one information object.
    virtual uint16_t pidAndConnection(std::string& connectionType) = 0;
    // The packet size the connection type selects.
    virtual uint32_t packetSize() = 0;
    virtual std::string firmwareVersion() = 0;
    // The "IspFwVer" extension info; empty when the camera reports none.
    virtual std::string ispVersion() = 0;
    // Whether the camera answers the L840-family bootloader probe.
    virtual bool answersBootloaderProbe() = 0;
    // Bootloader mode: the real identity from the save info in flash.
    virtual SavedIdentity l840SavedIdentity(uint32_t packetSize) = 0;
    // Bootloader mode: the real L5-family product, or kBootloaderPid when it cannot be learnt.
    virtual uint16_t l5SavedPid(uint32_t packetSize) = 0;
    // MiroMax cameras take firmware only in recovery mode.
    virtual bool recoveryMode() = 0;
};

class LiveDevice : public DeviceFacts {
public:
    explicit LiveDevice(vx_device_t* device) : device_(device) {}

    DeviceIds ids() override;
    uint16_t pidAndConnection(std::string& connectionType) override;
    uint32_t packetSize() override;
    std::string firmwareVersion() override;
    std::string ispVersion() override;
    bool answersBootloaderProbe() override;
    SavedIdentity l840SavedIdentity(uint32_t packetSize) override;
    uint16_t l5SavedPid(uint32_t packetSize) override;
    bool recoveryMode() override;

private:
    vx_device_t* device_;
};

// A camera as vxfw's emulator models describe themselves: what it would answer.
struct CameraDescription {
    DeviceIds ids;
    std::string connectionType = "USB3.0";
    std::string firmwareVersion;
    std::string ispVersion;
    bool recoveryMode = true;
    // Bootloader mode: whether the probe is answered, and the identity the flash keeps (nullopt:
    // the save info cannot be read).
    bool answersBootloaderProbe = false;
    std::optional<DeviceIds> savedIdentity;
};

class DescribedCamera : public DeviceFacts {
public:
    explicit DescribedCamera(CameraDescription description)
        : description_(std::move(description)) {}

    DeviceIds ids() override { return description_.ids; }
    uint16_t pidAndConnection(std::string& connectionType) override;
    uint32_t packetSize() override;
    std::string firmwareVersion() override { return description_.firmwareVersion; }
    std::string ispVersion() override { return description_.ispVersion; }
    bool answersBootloaderProbe() override { return description_.answersBootloaderProbe; }
    SavedIdentity l840SavedIdentity(uint32_t packetSize) override;
    uint16_t l5SavedPid(uint32_t packetSize) override;
    bool recoveryMode() override { return description_.recoveryMode; }

private:
    CameraDescription description_;
};

}  // namespace libvxsensor
