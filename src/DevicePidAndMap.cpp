// The device tables and the questions asked of them.
#include "DevicePidAndMap.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <set>
#include <unordered_map>

#include "common/ByteOrder.h"
#include "common/DeviceInfo.h"

namespace libvxsensor {

namespace {

// ---- Constant tables -------------------------------------------------------------------------

const std::vector<uint16_t> BootDevPids = {0x0501, 0x0300, 0x0301, 0x0400};
const std::vector<uint16_t> Pellin3DevPids = {0x0660};
const std::vector<uint16_t> Lumex5DevPids = {0x0670, 0x0673};
const std::vector<uint16_t> Lumex470DevPids = {0x0808, 0x0809};
const std::vector<uint16_t> MiroMaxDevPids = {0x0669, 0x06C0};
const std::vector<uint16_t> MiroDartDevPids = {0x066B};
const std::vector<uint16_t> OpenNIDevPids = {
    0x060E, 0x0614, 0x0657, 0x0659, 0x065A, 0x065B, 0x065C, 0x065D, 0x065E,
    0x069A, 0x069F, 0x06A7, 0x06A0, 0x06A6, 0x069E, 0x06AA, 0x069D,
};
const std::vector<uint16_t> L815DevPids = {0x0840, 0x0841, 0x0842, 0x0843, 0x0845};

const std::unordered_map<uint16_t, std::string> L5DevicePidToName = {
    {0x0670, "Lumex 5"},
    {0x0673, "Lumex 5 S"},
    {0x0660, "Pellin 3"},
};

// 0x0840 and 0x0841 are two board revisions of the same product, hence one name.
const std::unordered_map<uint16_t, std::string> L815DevicePidToName = {
    {0x0840, "Lumex 815"},  {0x0841, "Lumex 815"},  {0x0842, "Lumex 815x"},
    {0x0843, "Lumex 811x"}, {0x0845, "Lumex 819x"},
};

const std::unordered_map<uint16_t, std::string> MiroMxaProductName = {
    {0x0669, "miro max"},
    {0x06C0, "ra-dk700v"},
};

// Lumex 470 serials (0x0808/0x0809) are resolved through this table as well.
const std::unordered_map<std::string, uint16_t> L5SerialPrefixToDevicePid = {
    {"AY3", 0x0670}, {"AY6", 0x0670}, {"AY8", 0x0673}, {"CPA", 0x0673}, {"AAR", 0x0660},
    {"AAU", 0x0660}, {"AYX", 0x0808}, {"AYY", 0x0809}, {"AYZ", 0x0808},
};

const std::set<std::string> L815ValidFwSerials = {"L815", "Lumex 815", "Lumex 815x", "Lumex 811x",
                                                  "Lumex 819x"};
const std::set<std::string> L840ValidFwSerials = {"L800", "Lumex5T", "Lumex 800", "Lumex 840"};
const std::set<std::string> KovraAValidFwSerials = {"Kovra A", "Kovra AS", "Lumex 855",
                                                    "Lumex 855Sx"};
const std::set<std::string> L840ValidPresetProduct = {"Lumex 800", "Kovra A"};

// ---- Device-group tables ---------------------------------------------------------------------

std::vector<DeviceIdentifier> L840SeriesDevPids;     // group 0
std::vector<DeviceIdentifier> L845SeDevPids;         // group 2
std::vector<DeviceIdentifier> KovraADevPids;         // group 3
std::vector<DeviceIdentifier> L840AndKovraADevPids;  // group 4
std::vector<DeviceInfoEntry> L840DevicePidToName;    // group 5
std::vector<DeviceIdentifier> L945SeDevPids;         // group 6

// True when some entry matches both ids; a PID alone is not enough because another vendor may
// reuse it.
template <typename Container>
bool isDeviceInContainer(const Container& c, uint16_t vid, uint16_t pid) {
    return std::any_of(c.begin(), c.end(),
                       [&](const auto& entry) { return entry.vid == vid && entry.pid == pid; });
}

bool isPidValid(uint16_t pid, const std::vector<uint16_t>& pids) {
    return std::find(pids.begin(), pids.end(), pid) != pids.end();
}

bool isMakers(DeviceIds ids, const std::vector<uint16_t>& pids) {
    return ids.vid == kVendorId && isPidValid(ids.pid, pids);
}

std::string nameIn(const std::unordered_map<uint16_t, std::string>& table, uint16_t pid) {
    const auto found = table.find(pid);
    return found != table.end() ? found->second : std::string();
}

DeviceIdentifier decodeIdentifier(const uint8_t* p) {
    return DeviceIdentifier{readLe16(p), readLe16(p + 2)};
}

DeviceInfoEntry decodeInfoEntry(const uint8_t* p) {
    DeviceInfoEntry e{};
    e.vid = readLe16(p);
    e.pid = readLe16(p + 2);
    // Kept as given, all 64 bytes: a name may fill the field without a terminator, and every
    // reader bounds itself by the field (nameText).
    for (std::size_t i = 0; i < sizeof(e.name); ++i) {
        e.name[i] = static_cast<char>(p[4 + i]);
    }
    return e;
}

// Counts come from division and offsets never pass size, so a size near 4 GiB cannot wrap.
template <typename Record, typename Decode>
void replaceTable(std::vector<Record>& table, const uint8_t* data, uint32_t size,
                  uint32_t recordSize, Decode decode) {
    const std::size_t count = size / recordSize;
    std::vector<Record> fresh;
    fresh.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        fresh.push_back(decode(data + i * recordSize));
    }
    // Decode fully before swapping so an allocation failure leaves the old table intact.
    table.swap(fresh);
}

}  // namespace

DeviceIds readDeviceIds(vx_device_t* device) {
    DeviceInfo info(device);
    DeviceIds ids;
    ids.pid = info.pid();
    ids.vid = info.vid();
    info.release();
    return ids;
}

// The firmware factory's order: the first match wins. A pid in two lists belongs to the first.
FirmwareFamily firmwareFamilyOf(DeviceIds ids) {
    if (isInGroup(DeviceGroup::L840AndKovraA, ids)) return FirmwareFamily::L840;
    if (ids.vid == kVendorId && ids.pid == kL5ProPid) return FirmwareFamily::L5Pro;
    // The L945Se family is served by the L5Pro updater on purpose.
    if (isInGroup(DeviceGroup::L945Se, ids)) return FirmwareFamily::L5Pro;
    if (ids.vid != kVendorId) return FirmwareFamily::None;
    if (isPidValid(ids.pid, OpenNIDevPids)) return FirmwareFamily::OpenNI;
    if (isPidValid(ids.pid, Lumex5DevPids) || isPidValid(ids.pid, Pellin3DevPids) ||
        isPidValid(ids.pid, Lumex470DevPids)) {
        return FirmwareFamily::L5;
    }
    if (isPidValid(ids.pid, MiroMaxDevPids)) return FirmwareFamily::MiroMax;
    if (isPidValid(ids.pid, L815DevPids)) return FirmwareFamily::L840;
    if (isPidValid(ids.pid, BootDevPids)) return FirmwareFamily::Bootloader;
    return FirmwareFamily::None;
}

PresetFamily presetFamilyOf(DeviceIds ids) {
    if (isInGroup(DeviceGroup::L840AndKovraA, ids) || isL815(ids)) return PresetFamily::L840;
    if (isInGroup(DeviceGroup::L945Se, ids)) return PresetFamily::L945Se;
    return PresetFamily::None;
}

CustomerDataFamily customerDataFamilyOf(DeviceIds ids) {
    if (isInGroup(DeviceGroup::L840Series, ids)) return CustomerDataFamily::L840;
    // The L5Pro model uses the L945Se mechanism.
    if ((ids.vid == kVendorId && ids.pid == kL5ProPid) || isInGroup(DeviceGroup::L945Se, ids)) {
        return CustomerDataFamily::L945Se;
    }
    if (isMakers(ids, OpenNIDevPids)) return CustomerDataFamily::OpenNI;
    return CustomerDataFamily::None;
}

bool isInGroup(DeviceGroup group, DeviceIds ids) {
    const std::vector<DeviceIdentifier>* table =
        getDeviceIdentifierVector(static_cast<uint16_t>(group));
    return table != nullptr && isDeviceInContainer(*table, ids.vid, ids.pid);
}

bool isL815(DeviceIds ids) {
    return isMakers(ids, L815DevPids);
}

bool isBootloader(DeviceIds ids) {
    return ids.vid == kVendorId && ids.pid == kBootloaderPid;
}

bool acceptsFirmwareLine(DeviceIds ids, const std::string& serial) {
    const auto refuses = [&serial](bool member, const std::set<std::string>& lines) {
        return member && lines.count(serial) == 0;
    };
    return !refuses(isInGroup(DeviceGroup::KovraA, ids), KovraAValidFwSerials) &&
           !refuses(isInGroup(DeviceGroup::L840Series, ids), L840ValidFwSerials) &&
           !refuses(isL815(ids), L815ValidFwSerials);
}

bool isPresetProduct(const std::string& productName) {
    return L840ValidPresetProduct.count(productName) != 0 ||
           L815ValidFwSerials.count(productName) != 0;
}

std::optional<FirmwareMinimum> presetFirmwareMinimum(DeviceIds ids) {
    if (isInGroup(DeviceGroup::KovraA, ids)) return FirmwareMinimum{10903, "1.9.03"};
    if (isInGroup(DeviceGroup::L840Series, ids)) return FirmwareMinimum{10441, "1.4.41"};
    if (isL815(ids)) return FirmwareMinimum{10000, "1.0.0"};
    return std::nullopt;
}

std::optional<uint16_t> l5PidForSerialPrefix(const std::string& prefix) {
    const auto found = L5SerialPrefixToDevicePid.find(prefix);
    if (found == L5SerialPrefixToDevicePid.end()) return std::nullopt;
    return found->second;
}

std::vector<std::string> l5SerialPrefixesOf(uint16_t pid) {
    std::vector<std::string> prefixes;
    for (const auto& [prefix, product] : L5SerialPrefixToDevicePid) {
        if (product == pid) prefixes.push_back(prefix);
    }
    std::sort(prefixes.begin(), prefixes.end());
    return prefixes;
}

std::string l5ProductName(uint16_t pid) {
    return nameIn(L5DevicePidToName, pid);
}

std::string l815ProductName(uint16_t pid) {
    return nameIn(L815DevicePidToName, pid);
}

std::string l840ProductName(DeviceIds ids) {
    for (const DeviceInfoEntry& entry : L840DevicePidToName) {
        if (entry.vid == ids.vid && entry.pid == ids.pid) return entry.nameText();
    }
    return {};
}

std::optional<std::string> miroMaxProductName(uint16_t pid) {
    const auto found = MiroMxaProductName.find(pid);
    if (found == MiroMxaProductName.end()) return std::nullopt;
    return found->second;
}

std::vector<std::string> miroMaxProductNames() {
    std::vector<std::string> names;
    names.reserve(MiroMxaProductName.size());
    for (const auto& entry : MiroMxaProductName) names.push_back(entry.second);
    std::sort(names.begin(), names.end());
    return names;
}

static_assert(sizeof(DeviceInfoEntry::name) + 4 == kDeviceInfoEntryWireSize,
              "wire record size and name field disagree");

std::string DeviceInfoEntry::nameText() const {
    const void* end = std::memchr(name, '\0', sizeof(name));
    const std::size_t len = end != nullptr
                                ? static_cast<std::size_t>(static_cast<const char*>(end) - name)
                                : sizeof(name);
    return std::string(name, len);
}

std::vector<DeviceIdentifier>* getDeviceIdentifierVector(uint16_t groupType) {
    switch (groupType) {
        case 0:
            return &L840SeriesDevPids;
        case 2:
            return &L845SeDevPids;
        case 3:
            return &KovraADevPids;
        case 4:
            return &L840AndKovraADevPids;
        case 6:
            return &L945SeDevPids;
        default:
            return nullptr;
    }
}

std::vector<DeviceInfoEntry>* getDeviceInfoEntryVector(uint16_t groupType) {
    return groupType == 5 ? &L840DevicePidToName : nullptr;
}

SetDeviceInfoResult setDeviceInfoData(uint16_t groupType, const uint8_t* data, uint32_t size) {
    if (data == nullptr || size == 0) {
        return SetDeviceInfoResult::InvalidArgument;
    }
    if (auto* infoTable = getDeviceInfoEntryVector(groupType)) {
        replaceTable(*infoTable, data, size, kDeviceInfoEntryWireSize, decodeInfoEntry);
        return SetDeviceInfoResult::Ok;
    }
    if (auto* idTable = getDeviceIdentifierVector(groupType)) {
        replaceTable(*idTable, data, size, kDeviceIdentifierWireSize, decodeIdentifier);
        return SetDeviceInfoResult::Ok;
    }
    return SetDeviceInfoResult::UnknownGroup;
}

void resetDeviceGroupTables() {
    L840SeriesDevPids.clear();
    L845SeDevPids.clear();
    KovraADevPids.clear();
    L840AndKovraADevPids.clear();
    L840DevicePidToName.clear();
    L945SeDevPids.clear();
}

}  // namespace libvxsensor
