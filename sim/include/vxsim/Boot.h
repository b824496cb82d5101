// What an emulated camera boots when its power comes back, and the records it keeps to decide.
// A camera boots its main firmware when the flash below the preset area holds a complete image,
// otherwise its bootloader; a camera that installs its own updates keeps the image it last
// installed whole, and says at the next boot when an install lost its power (sim/README.md,
// "Power cuts and the boot model").
//
//   auto cam = vxsim::makeCamera("l840");
//   cam->cutPowerAfter(12);        // exchange 12 is the last one the camera answers
//   ... run an update: it fails, the camera answers nothing more ...
//   cam->reboot();                 // power back: cam->bootloader() tells what it booted
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vxsim/Models.h"

namespace vxsim {

// The flash below this address holds a camera's firmware: what its boot depends on.
constexpr uint32_t kFirmwareAreaEnd = kPresetAreaOffset;

// One flash write as the camera saw it, from its erase on.
struct FlashWriteRecord {
    uint32_t offset = 0;
    uint32_t size = 0;
    bool finished = false;  // the finish request came and the camera took it
    uint32_t crc = 0;       // CRC-32/MPEG-2 of the range when it was finished
};

// An image a camera installed itself; size 0 stands for the firmware it was made with.
struct InstalledImage {
    uint32_t size = 0;
    uint32_t crc = 0;
};

// A finished transfer the camera is installing: firmware (raw-data object kFirmwareImageId)
// or a preset package.
struct PendingInstall {
    uint32_t objectId = 0;
    InstalledImage image;
};

struct BootState {
    std::vector<FlashWriteRecord> writes;  // latest erase last
    bool firmwareMissing = false;          // made in its bootloader, no image completed since
    InstalledImage installed;
    std::optional<PendingInstall> installing;  // gone with the power
    bool installCutShort = false;              // the last install lost its power
    bool powerLost = false;                    // no answers until the next boot
};

// Sits in front of a virtual camera and keeps, from the requests the camera executed, what its
// boot depends on. Catalog cameras have one (EmulatedCamera::boot()).
class BootRecords : public Responder {
public:
    explicit BootRecords(std::shared_ptr<VirtualCamera> camera);

    // Without power, no answer at all (a transport error) and no structured data.
    Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override;
    bool structuredData(uint32_t id, std::vector<uint8_t>& out) override;

    BootState& state() { return state_; }
    const BootState& state() const { return state_; }
    // Nothing left unfinished in the firmware area, every finished write there still holding
    // what it held when finished, and not a camera that was made without firmware.
    bool firmwareComplete() const;
    // The power goes, the flash as it is: an install under way is lost.
    void powerOff();

private:
    void erased(uint32_t offset, uint32_t size);
    void finished();
    uint32_t crcOf(const FlashWriteRecord& write) const;

    std::shared_ptr<VirtualCamera> camera_;
    BootState state_;
};

// ---- State files ------------------------------------------------------------------------------
// The boot state as records of a session's state file (tag, position, bytes): 'W' per flash
// write (position its offset; size LE32, CRC LE32, finished u8) and one 'B' (flags u8: 1 runs
// its bootloader, 2 lost its power, 4 firmware missing, 8 an install lost its power; then the
// installed image's size and CRC, LE32 each).
struct StateRecord {
    char tag = 0;
    uint32_t position = 0;
    std::vector<uint8_t> bytes;
};
std::vector<StateRecord> bootStateRecords(const EmulatedCamera& camera);
// Takes a record of a kind bootStateRecords writes and returns true; false for any other kind.
// std::invalid_argument when it is malformed or names flash the camera does not have.
bool takeBootStateRecord(EmulatedCamera& camera, const StateRecord& record);

// For a camera that installs its own updates, ", installed image N bytes CRC 0x..." (or ", image
// as made"); empty for any other.
std::string installedImageText(const EmulatedCamera& camera);

}  // namespace vxsim
