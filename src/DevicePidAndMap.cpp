#include "DevicePidAndMap.h"

#include "common/ByteOrder.h"

#include <cstddef>
#include <cstring>

namespace libvxsensor {

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

std::vector<DeviceIdentifier> L840SeriesDevPids;
std::vector<DeviceIdentifier> L845SeDevPids;
std::vector<DeviceIdentifier> KovraADevPids;
std::vector<DeviceIdentifier> L840AndKovraADevPids;
std::vector<DeviceInfoEntry> L840DevicePidToName;
std::vector<DeviceIdentifier> L945SeDevPids;

namespace {

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

bool isPidValid(uint16_t pid, const std::vector<uint16_t>& pids) {
    for (uint16_t p : pids) {
        if (p == pid) {
            return true;
        }
    }
    return false;
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
