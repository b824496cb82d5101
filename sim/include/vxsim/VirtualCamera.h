// A virtual camera: the device side of the vendor protocol with flash memory, integer
// properties, structures, raw-data objects and host structured data, all open to tests.
//
//   vxsim::Device device({0x3A6E, 0x0800, "USB3.0", "1.7.16"});
//   auto camera = std::make_shared<vxsim::VirtualCamera>();
//   camera->setProperty(133, 1);
//   camera->addRawDataObject(1052, 128);
//   device.setResponder(camera);
//   ... drive device.handle() through the library or vx_device_send_and_receive_data ...
//   EXPECT_EQ(camera->flash()[0x1000], 0x5A);
//
// What it answers (payload fields u32 little-endian unless said otherwise):
//   GET_PROPERTY(id)               int32 value + 16 zero bytes
//   SET_PROPERTY(id, value)        stores it (after the property's hook, if any, agrees)
//   GET_STRUCTURE_DATA(id)         the structure's bytes; a sequence gives its next entry
//   HEARTBEAT_AND_STATE            8 bytes of state
//   ERASE_FLASH(offset, count)     bytes become 0xFF; starts a new CRC window
//   WRITE_FLASH(offset, data...)   NOR programming: flash &= data
//   FINISH_WRITE_FLASH([crc])      with a CRC: compares it with the window's CRC-32/MPEG-2
//   READ_FLASH(offset, u16 words)  2 x words bytes
//   START_WRITE_DATA(id, size) / WRITE_DATA(id, offset, data...) / FINISH_WRITE_DATA(id)
//   GET_READ_DATA_SIZE(id) / READ_DATA(id, offset, size) / FINISH_READ_DATA(id)
// Anything else, a payload too short for its fields, an unknown id or a range outside the
// memory is answered with a device error status (CameraStatus) and a short zero-terminated
// text. No answer is ever longer than the capacity the host offered.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "vxsim/Emulator.h"
#include "vxsim/Wire.h"

namespace vxsim {

// The device error codes a virtual camera answers with. 3 is the protocol's "busy".
enum class CameraStatus : uint16_t {
    Ok = 0,
    BadRequest = 1,  // payload too short for the opcode's fields
    OutOfRange = 2,  // flash or object range outside the memory
    Busy = 3,
    UnknownId = 4,  // no such property, structure or raw-data object
    CrcMismatch = 5,
    Unsupported = 6,    // opcode not served
    OutOfSequence = 7,  // raw-data write step without START_WRITE_DATA
    TooLarge = 8,       // more than the object's capacity or the receive buffer
};

// CRC-32/MPEG-2: polynomial 0x04C11DB7, initial 0xFFFFFFFF, MSB first, no reflection, no final
// XOR ("123456789" gives 0x0376E6E7). The camera's own, independent of the library's.
uint32_t crc32Mpeg2(const uint8_t* data, size_t size, uint32_t crc = 0xFFFFFFFFu);

// What a camera has done, for tests that check the work done rather than the bytes sent.
struct CameraCounters {
    uint64_t requests = 0;      // well-formed requests served
    uint64_t deviceErrors = 0;  // answered with status 1..0x7FFF
    uint64_t erases = 0;
    uint64_t bytesErased = 0;
    uint64_t flashWrites = 0;
    uint64_t flashBytesWritten = 0;
    uint64_t flashBytesRead = 0;
    uint64_t crcChecks = 0;
    uint64_t crcMismatches = 0;
    uint64_t rawDataWritesFinished = 0;
};

class VirtualCamera : public Responder {
public:
    static constexpr size_t kMinFlashSize = size_t{8} << 20;
    static constexpr size_t kDefaultFlashSize = size_t{16} << 20;
    static constexpr size_t kMaxFlashSize = size_t{256} << 20;

    // Flash of `flashSize` bytes, all 0xFF. std::invalid_argument outside
    // [kMinFlashSize, kMaxFlashSize].
    explicit VirtualCamera(size_t flashSize = kDefaultFlashSize);

    // Responder. A request without the "GM" header gets no answer (a transport error).
    Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override;
    // Answers from the host structured-data entries (see setHostStructuredData).
    bool structuredData(uint32_t propertyId, std::vector<uint8_t>& out) override;

    // ---- Flash --------------------------------------------------------------------------
    const std::vector<uint8_t>& flash() const { return flash_; }
    // Plain copy into the flash, as a factory would program it (no NOR rule, no CRC window, no
    // counters). std::out_of_range when it does not fit.
    void writeFlashDirect(uint32_t offset, const std::vector<uint8_t>& bytes);

    // ---- Integer properties -------------------------------------------------------------
    // Called for SET_PROPERTY of its id before the value is stored. Its status is the answer:
    // 0 or a warning (0x8000..0xFFFE) stores the value, anything else refuses it.
    using PropertyHook = std::function<uint16_t(uint32_t id, int32_t value)>;
    void setProperty(uint32_t id, int32_t value) { properties_[id] = value; }
    std::optional<int32_t> property(uint32_t id) const;
    void removeProperty(uint32_t id) { properties_.erase(id); }
    void setPropertyHook(uint32_t id, PropertyHook hook);

    // ---- Structures (GET_STRUCTURE_DATA) ------------------------------------------------
    void setStructure(uint32_t id, std::vector<uint8_t> bytes);
    // Each read returns the next entry, the last one from then on: a status that changes while
    // the host polls it. std::invalid_argument for an empty sequence.
    void setStructureSequence(uint32_t id, std::vector<std::vector<uint8_t>> reads);
    void removeStructure(uint32_t id) { structures_.erase(id); }

    // ---- Host structured data (vx_device_get_structured_data) ---------------------------
    void setHostStructuredData(uint32_t id, std::vector<uint8_t> bytes);
    void removeHostStructuredData(uint32_t id) { hostStructured_.erase(id); }

    // ---- Raw-data objects ---------------------------------------------------------------
    // Called after FINISH_WRITE_DATA made the received bytes the object's content; its status
    // is the answer (the content stays either way).
    using RawDataHook = std::function<uint16_t(uint32_t id, const std::vector<uint8_t>& content)>;
    // std::invalid_argument when `content` exceeds `capacity`.
    void addRawDataObject(uint32_t id, uint32_t capacity, std::vector<uint8_t> content = {});
    void removeRawDataObject(uint32_t id) { rawData_.erase(id); }
    bool hasRawDataObject(uint32_t id) const { return rawData_.count(id) != 0; }
    // std::out_of_range for an unknown id; setRawData also for content beyond the capacity.
    const std::vector<uint8_t>& rawData(uint32_t id) const;
    void setRawData(uint32_t id, std::vector<uint8_t> content);
    void setRawDataHook(uint32_t id, RawDataHook hook);

    // ---- State and counters -------------------------------------------------------------
    void setHeartbeatState(const std::array<uint8_t, 8>& state) { heartbeat_ = state; }
    const CameraCounters& counters() const { return counters_; }
    void resetCounters() { counters_ = {}; }

protected:
    // One well-formed request; the answer is cut to the capacity afterwards. A camera family
    // overrides this to serve more opcodes and passes the rest on to the base class.
    virtual Reply serve(const wire::Request& request, uint32_t capacity);

    static Reply refuse(const wire::Request& request, CameraStatus status, const std::string& text);

private:
    struct Structure {
        std::vector<std::vector<uint8_t>> reads;
        size_t next = 0;
    };
    struct RawDataObject {
        uint32_t capacity = 0;
        std::vector<uint8_t> content;
        std::optional<std::vector<uint8_t>> pending;  // between START and FINISH_WRITE_DATA
        RawDataHook hook;
    };

    Reply getProperty(const wire::Request& request);
    Reply setPropertyRequest(const wire::Request& request);
    Reply getStructure(const wire::Request& request);
    Reply eraseFlash(const wire::Request& request);
    Reply writeFlash(const wire::Request& request);
    Reply finishWriteFlash(const wire::Request& request);
    Reply readFlash(const wire::Request& request, uint32_t capacity);
    Reply rawDataRequest(const wire::Request& request, uint32_t capacity);
    bool flashRangeOk(uint32_t offset, uint64_t count) const;

    std::vector<uint8_t> flash_;
    // Bytes written since the last erase span [windowLow_, windowHigh_); empty when equal.
    size_t windowLow_ = 0;
    size_t windowHigh_ = 0;
    std::map<uint32_t, int32_t> properties_;
    std::map<uint32_t, PropertyHook> propertyHooks_;
    std::map<uint32_t, Structure> structures_;
    std::map<uint32_t, std::vector<uint8_t>> hostStructured_;
    std::map<uint32_t, RawDataObject> rawData_;
    std::array<uint8_t, 8> heartbeat_{};
    CameraCounters counters_;
};

}  // namespace vxsim
