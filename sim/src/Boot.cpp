// The boot model: the records a camera keeps of its flash writes and installs, what it boots from
// them, power cuts, and the records' place in a session's state file.
#include "vxsim/Boot.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "vxsim/Install.h"
#include "vxsim/Wire.h"

namespace vxsim {

namespace {

constexpr uint8_t kRunsBootloader = 1;
constexpr uint8_t kLostPower = 2;
constexpr uint8_t kFirmwareMissing = 4;
constexpr uint8_t kInstallCutShort = 8;
constexpr size_t kWriteRecordSize = 9;
constexpr size_t kBootRecordSize = 9;

bool answeredOk(const Reply& reply) {
    return !reply.transportError && reply.bytes.size() >= wire::kResponseHeaderSize &&
           wire::le16(&reply.bytes[8]) == 0;
}

bool inFirmwareArea(const FlashWriteRecord& write) {
    return write.offset < kFirmwareAreaEnd;
}

// Answers until the n-th exchange, then takes the camera's power away.
class PowerCut : public Responder {
public:
    PowerCut(std::shared_ptr<Responder> inner, BootRecords& boot, uint64_t after)
        : inner_(std::move(inner)), boot_(boot), after_(after) {}
    Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override {
        Reply reply = inner_->exchange(request, capacity);
        if (++seen_ == after_) boot_.powerOff();
        return reply;
    }
    bool structuredData(uint32_t id, std::vector<uint8_t>& out) override {
        return inner_->structuredData(id, out);
    }

private:
    std::shared_ptr<Responder> inner_;
    BootRecords& boot_;  // the camera's own, which outlives its responders
    uint64_t after_;
    uint64_t seen_ = 0;
};

}  // namespace

BootRecords::BootRecords(std::shared_ptr<VirtualCamera> camera) : camera_(std::move(camera)) {}

Reply BootRecords::exchange(const std::vector<uint8_t>& bytes, uint32_t capacity) {
    if (state_.powerLost) return Reply::transportFailure("no answer: the camera has no power");
    Reply reply = camera_->exchange(bytes, capacity);
    const auto request = wire::parseRequest(bytes);
    if (!request || !answeredOk(reply)) return reply;
    switch (request->opcode) {
        case wire::EraseFlash:
            erased(request->u32(0), request->u32(4));
            break;
        case wire::FinishWriteFlash:
            finished();
            break;
        case wire::FinishWriteData: {
            const uint32_t id = request->u32(0);
            if (id != kFirmwareImageId && id != kPresetPackageId) break;
            const std::vector<uint8_t>& image = camera_->rawData(id);
            const auto size = static_cast<uint32_t>(image.size());
            state_.installing = PendingInstall{id, {size, crc32Mpeg2(image.data(), size)}};
            state_.installCutShort = false;
            break;
        }
        case wire::GetStructureData: {
            if (!state_.installing || request->u32(0) != kUpgradeStatusId ||
                reply.bytes.size() < wire::kResponseHeaderSize + 2) {
                break;
            }
            const auto status =
                static_cast<int16_t>(wire::le16(&reply.bytes[wire::kResponseHeaderSize]));
            if (status == kInstallDoneStatus && state_.installing->objectId == kFirmwareImageId) {
                state_.installed = state_.installing->image;
            }
            if (status == kInstallDoneStatus || status < 0) state_.installing.reset();
            break;
        }
        default:
            break;
    }
    return reply;
}

bool BootRecords::structuredData(uint32_t id, std::vector<uint8_t>& out) {
    return !state_.powerLost && camera_->structuredData(id, out);
}

// Writes the erase covers whole are over; one it cuts into keeps its record, whose CRC no
// longer matches at the next boot.
void BootRecords::erased(uint32_t offset, uint32_t size) {
    const uint64_t end = uint64_t{offset} + size;
    auto& writes = state_.writes;
    writes.erase(std::remove_if(writes.begin(), writes.end(),
                                [&](const FlashWriteRecord& w) {
                                    return w.offset >= offset && w.offset + uint64_t{w.size} <= end;
                                }),
                 writes.end());
    writes.push_back({offset, size, false, 0});
}

// A finish closes the write of the latest erase, as the camera's CRC window does.
void BootRecords::finished() {
    auto& writes = state_.writes;
    if (writes.empty() || writes.back().finished) return;
    writes.back().finished = true;
    writes.back().crc = crcOf(writes.back());
    const bool open = std::any_of(writes.begin(), writes.end(), [](const FlashWriteRecord& w) {
        return inFirmwareArea(w) && !w.finished;
    });
    if (inFirmwareArea(writes.back()) && !open) state_.firmwareMissing = false;
}

uint32_t BootRecords::crcOf(const FlashWriteRecord& write) const {
    return crc32Mpeg2(camera_->flash().data() + write.offset, write.size);
}

bool BootRecords::firmwareComplete() const {
    if (state_.firmwareMissing) return false;
    return std::all_of(state_.writes.begin(), state_.writes.end(), [this](const auto& w) {
        return !inFirmwareArea(w) || (w.finished && crcOf(w) == w.crc);
    });
}

void BootRecords::powerOff() {
    state_.powerLost = true;
    if (state_.installing) state_.installCutShort = true;
    state_.installing.reset();
}

// ---- The camera's side -------------------------------------------------------------------------

void EmulatedCamera::reboot() {
    boot_->powerOff();
    BootState& state = boot_->state();
    state.powerLost = false;
    // A model without an emulated bootloader runs its firmware whatever the flash holds.
    setBootloaderMode(model_.bootloaderPid != 0 && !boot_->firmwareComplete());
    showStatusAfterBoot(*this, state.installCutShort);
}

void EmulatedCamera::cutPowerAfter(uint64_t n) {
    device_.setResponder(std::make_shared<PowerCut>(device_.sharedResponder(), *boot_, n));
}

// ---- State files -------------------------------------------------------------------------------

std::vector<StateRecord> bootStateRecords(const EmulatedCamera& camera) {
    const BootState& state = camera.boot().state();
    std::vector<StateRecord> records;
    for (const FlashWriteRecord& w : state.writes) {
        StateRecord r{'W', w.offset, {}};
        wire::putLe32(r.bytes, w.size);
        wire::putLe32(r.bytes, w.crc);
        r.bytes.push_back(w.finished ? 1 : 0);
        records.push_back(std::move(r));
    }
    StateRecord boot{'B', 0, {}};
    boot.bytes.push_back(static_cast<uint8_t>((camera.bootloader() ? kRunsBootloader : 0) |
                                              (state.powerLost ? kLostPower : 0) |
                                              (state.firmwareMissing ? kFirmwareMissing : 0) |
                                              (state.installCutShort ? kInstallCutShort : 0)));
    wire::putLe32(boot.bytes, state.installed.size);
    wire::putLe32(boot.bytes, state.installed.crc);
    records.push_back(std::move(boot));
    return records;
}

bool takeBootStateRecord(EmulatedCamera& camera, const StateRecord& record) {
    BootState& state = camera.boot().state();
    const std::vector<uint8_t>& b = record.bytes;
    if (record.tag == 'W') {
        const size_t flash = camera.camera().flash().size();
        if (b.size() != kWriteRecordSize || b[8] > 1 || record.position > flash ||
            wire::le32(&b[0]) > flash - record.position) {
            throw std::invalid_argument("bad flash write record");
        }
        state.writes.push_back({record.position, wire::le32(&b[0]), b[8] == 1, wire::le32(&b[4])});
        return true;
    }
    if (record.tag != 'B') return false;
    if (b.size() != kBootRecordSize || record.position != 0 || b[0] > 15 ||
        ((b[0] & kRunsBootloader) != 0 && camera.model().bootloaderPid == 0)) {
        throw std::invalid_argument("bad boot record");
    }
    camera.setBootloaderMode((b[0] & kRunsBootloader) != 0);
    state.powerLost = (b[0] & kLostPower) != 0;
    state.firmwareMissing = (b[0] & kFirmwareMissing) != 0;
    state.installCutShort = (b[0] & kInstallCutShort) != 0;
    state.installed = {wire::le32(&b[1]), wire::le32(&b[5])};
    if (state.installCutShort) showStatusAfterBoot(camera, true);
    return true;
}

std::string installedImageText(const EmulatedCamera& camera) {
    if (!camera.camera().hasRawDataObject(kFirmwareImageId)) return {};
    const InstalledImage& image = camera.boot().state().installed;
    if (image.size == 0) return ", image as made";
    char text[64];
    std::snprintf(text, sizeof text, ", installed image %u bytes CRC 0x%08X",
                  static_cast<unsigned>(image.size), static_cast<unsigned>(image.crc));
    return text;
}

}  // namespace vxsim
