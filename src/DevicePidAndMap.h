// Which cameras this library knows, by USB vendor and product id.
//
// Two kinds of tables live here. The constant ones are fixed product knowledge compiled into the
// library. The device-group ones are supplied by the host application at run time, because new
// models of a family ship more often than this library does; they start empty and are replaced
// whole by setDeviceInfoData().
#ifndef VXSENSOR_DEVICE_PID_AND_MAP_H
#define VXSENSOR_DEVICE_PID_AND_MAP_H

#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace libvxsensor {

constexpr uint16_t kVendorId = 0x3A6E;
// Older call sites spell the vendor id this way.
constexpr uint16_t VXSENSOR_VID = kVendorId;
constexpr uint16_t kBootloaderPid = 0x0501;

// ---- Constant tables -------------------------------------------------------------------------
// Defined once in DevicePidAndMap.cpp so every module sees the same objects.

extern const std::vector<uint16_t> BootDevPids;
extern const std::vector<uint16_t> Pellin3DevPids;
extern const std::vector<uint16_t> Lumex5DevPids;
extern const std::vector<uint16_t> Lumex470DevPids;
extern const std::vector<uint16_t> MiroMaxDevPids;
extern const std::vector<uint16_t> MiroDartDevPids;
extern const std::vector<uint16_t> OpenNIDevPids;
extern const std::vector<uint16_t> L815DevPids;

extern const std::unordered_map<uint16_t, std::string> L5DevicePidToName;
extern const std::unordered_map<uint16_t, std::string> L815DevicePidToName;
// The misspelling is part of the name other modules already use.
extern const std::unordered_map<uint16_t, std::string> MiroMxaProductName;

// The first three characters of a serial number tell which model it is; case matters.
extern const std::unordered_map<std::string, uint16_t> L5SerialPrefixToDevicePid;

extern const std::set<std::string> L815ValidFwSerials;
extern const std::set<std::string> L840ValidFwSerials;
extern const std::set<std::string> KovraAValidFwSerials;
extern const std::set<std::string> L840ValidPresetProduct;

// ---- Device-group tables ---------------------------------------------------------------------

// Wire form: vid LE16, pid LE16.
struct DeviceIdentifier {
    uint16_t vid;
    uint16_t pid;
};

// Wire form: vid LE16, pid LE16, then a 64-byte name field.
struct DeviceInfoEntry {
    uint16_t vid;
    uint16_t pid;
    char name[64];

    // Reads at most the 64 bytes of the field, so it is safe even on an entry built by hand
    // without a terminator.
    std::string nameText() const;
};

constexpr uint32_t kDeviceIdentifierWireSize = 4;
constexpr uint32_t kDeviceInfoEntryWireSize = 68;

// The host fills these once, before any device work starts; they are not locked.
extern std::vector<DeviceIdentifier> L840SeriesDevPids;     // group 0
extern std::vector<DeviceIdentifier> L845SeDevPids;         // group 2
extern std::vector<DeviceIdentifier> KovraADevPids;         // group 3
extern std::vector<DeviceIdentifier> L840AndKovraADevPids;  // group 4
extern std::vector<DeviceInfoEntry> L840DevicePidToName;    // group 5
extern std::vector<DeviceIdentifier> L945SeDevPids;         // group 6

// The identifier table for a group type, or nullptr if the group holds something else or is
// unknown.
std::vector<DeviceIdentifier>* getDeviceIdentifierVector(uint16_t groupType);

// The named-entry table for a group type, or nullptr.
std::vector<DeviceInfoEntry>* getDeviceInfoEntryVector(uint16_t groupType);

// True when some entry matches both ids; a PID alone is not enough because another vendor may
// reuse it.
template <typename Container>
bool isDeviceInContainer(const Container& c, uint16_t vid, uint16_t pid) {
    for (const auto& entry : c) {
        if (entry.vid == vid && entry.pid == pid) {
            return true;
        }
    }
    return false;
}

bool isPidValid(uint16_t pid, const std::vector<uint16_t>& pids);

enum class SetDeviceInfoResult { Ok, InvalidArgument, UnknownGroup };

// Replaces the table of a group with the whole records found in data; bytes after the last whole
// record are ignored. A refused call leaves every table as it was.
SetDeviceInfoResult setDeviceInfoData(uint16_t groupType, const uint8_t* data, uint32_t size);

// Empties every device-group table (used by tests so they do not depend on each other's order).
void resetDeviceGroupTables();

}  // namespace libvxsensor

#endif  // VXSENSOR_DEVICE_PID_AND_MAP_H
