// Which cameras this library knows, by USB vendor and product id, and what that makes them: the
// one place that answers every question about a device's family.
//
// Two kinds of tables live behind these questions. The constant ones are fixed product knowledge
// compiled into the library. The device-group ones are supplied by the host application at run
// time, because new models of a family ship more often than this library does; they start empty
// and are replaced whole by setDeviceInfoData(). The tables themselves are private to
// DevicePidAndMap.cpp: callers ask, they do not look.
#ifndef VXSENSOR_DEVICE_PID_AND_MAP_H
#define VXSENSOR_DEVICE_PID_AND_MAP_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "vxsensor/vx_host.h"

namespace libvxsensor {

constexpr uint16_t kVendorId = 0x3A6E;
// What L5 and L840 cameras report as their product while they run their bootloader.
constexpr uint16_t kBootloaderPid = 0x0501;
// The OpenNI bootloader's product id.
constexpr uint16_t kOpenNIBootloaderPid = 0x0400;
// The L5Pro model: known by its id alone, in no table.
constexpr uint16_t kL5ProPid = 0x0671;

struct DeviceIds {
    uint16_t vid = 0;
    uint16_t pid = 0;
};

// The device's ids from the host, its information object released with every host error raised:
// what the factories and updaters decide by before anything is sent.
DeviceIds readDeviceIds(vx_device_t* device);

// ---- Families --------------------------------------------------------------------------------

// Which firmware updater serves a device. Bootloader: a product id that any of several families'
// bootloaders report; whether the device answers the bootloader probe decides (see
// FirmwareUpdaterFactory).
enum class FirmwareFamily { L840, L5, L5Pro, OpenNI, MiroMax, Bootloader, None };
FirmwareFamily firmwareFamilyOf(DeviceIds ids);

enum class PresetFamily { L840, L945Se, None };
PresetFamily presetFamilyOf(DeviceIds ids);

enum class CustomerDataFamily { L840, L945Se, OpenNI, None };
CustomerDataFamily customerDataFamilyOf(DeviceIds ids);

// The run-time device groups, by the group type vx_set_device_info_data takes.
enum class DeviceGroup : uint16_t {
    L840Series = 0,
    L845Se = 2,
    KovraA = 3,
    L840AndKovraA = 4,
    L945Se = 6,
};
bool isInGroup(DeviceGroup group, DeviceIds ids);
// The maker's vendor id and a product of the L815 models.
bool isL815(DeviceIds ids);
// The maker's vendor id and the L5/L840 bootloader's product id.
bool isBootloader(DeviceIds ids);

// ---- Firmware lines, presets and names --------------------------------------------------------

// Whether a firmware file of this firmware line (the container's serial text) may go onto the
// device: each family the device belongs to (KovraA, L840 series, L815) must list the line.
bool acceptsFirmwareLine(DeviceIds ids, const std::string& serial);
// Whether a preset file naming this product is meant for the L840 preset mechanism.
bool isPresetProduct(const std::string& productName);

// The oldest firmware that takes optional presets, for the families that take them.
struct FirmwareMinimum {
    int version;       // as getFirmwareVersionInt gives it
    const char* text;  // as the refusal names it
};
std::optional<FirmwareMinimum> presetFirmwareMinimum(DeviceIds ids);

// An L5-family product from the first three characters of a serial number (case matters).
std::optional<uint16_t> l5PidForSerialPrefix(const std::string& prefix);
// Serial prefixes that name the product, sorted: what inspect shows of an L5 image.
std::vector<std::string> l5SerialPrefixesOf(uint16_t pid);
// Product names; empty when the tables do not name the product.
std::string l5ProductName(uint16_t pid);
std::string l815ProductName(uint16_t pid);
// From the named run-time group (type 5).
std::string l840ProductName(DeviceIds ids);
// The product text that MiroMax packages name for the product, if it is a MiroMax camera.
std::optional<std::string> miroMaxProductName(uint16_t pid);
// Every product text a MiroMax package may name.
std::vector<std::string> miroMaxProductNames();

// ---- Device-group tables ---------------------------------------------------------------------

// Wire form: vid LE16, pid LE16.
struct DeviceIdentifier {
    uint16_t vid;
    uint16_t pid;
};

// Wire form: vid LE16, pid LE16, then a 64-byte name field, kept as given: a name may fill the
// field without a terminator.
struct DeviceInfoEntry {
    uint16_t vid;
    uint16_t pid;
    char name[64];

    // Reads at most the 64 bytes of the field.
    std::string nameText() const;
};

constexpr uint32_t kDeviceIdentifierWireSize = 4;
constexpr uint32_t kDeviceInfoEntryWireSize = 68;

// The identifier table for a group type, or nullptr if the group holds something else or is
// unknown. The host fills these once, before any device work starts; they are not locked.
std::vector<DeviceIdentifier>* getDeviceIdentifierVector(uint16_t groupType);
// The named-entry table for a group type, or nullptr.
std::vector<DeviceInfoEntry>* getDeviceInfoEntryVector(uint16_t groupType);

enum class SetDeviceInfoResult { Ok, InvalidArgument, UnknownGroup };

// Replaces the table of a group with the whole records found in data; bytes after the last whole
// record are ignored. A refused call leaves every table as it was.
SetDeviceInfoResult setDeviceInfoData(uint16_t groupType, const uint8_t* data, uint32_t size);

// Empties every device-group table (used by tests so they do not depend on each other's order).
void resetDeviceGroupTables();

}  // namespace libvxsensor

#endif  // VXSENSOR_DEVICE_PID_AND_MAP_H
