// Kind dispatch and the device-table lookups every file kind shares.
#include "vxfw/InspectFile.h"

#include <algorithm>
#include <limits>

#include "DevicePidAndMap.h"

namespace vxfw {

namespace inspect {

namespace {

// The factories of the library keep this one to themselves.
constexpr uint16_t kL5ProPid = 0x0671;

struct PidFamily {
    const char* family;
    const std::vector<uint16_t>& pids;
    const std::unordered_map<uint16_t, std::string>* names;
};

}  // namespace

std::string fieldText(const uint8_t* field, size_t size) {
    return std::string(field, std::find(field, field + size, uint8_t{0}));
}

Json product(uint16_t pid) {
    using namespace libvxsensor;
    // The updater factory's order: a pid in two lists belongs to the first.
    static const PidFamily kFamilies[] = {
        {"OpenNI", OpenNIDevPids, nullptr},
        {"L5", Lumex5DevPids, &L5DevicePidToName},
        {"Pellin3", Pellin3DevPids, &L5DevicePidToName},
        {"Lumex470", Lumex470DevPids, nullptr},
        {"MiroMax", MiroMaxDevPids, &MiroMxaProductName},
        {"L815", L815DevPids, &L815DevicePidToName},
        {"MiroDart", MiroDartDevPids, nullptr},
        {"bootloader", BootDevPids, nullptr},
    };
    Json entry{{"pid", pid}, {"family", nullptr}, {"name", nullptr}};
    if (pid == kL5ProPid) {
        entry["family"] = "L5Pro";
        return entry;
    }
    for (const PidFamily& f : kFamilies) {
        if (!isPidValid(pid, f.pids)) continue;
        entry["family"] = f.family;
        if (f.names != nullptr) {
            const auto name = f.names->find(pid);
            if (name != f.names->end()) entry["name"] = name->second;
        }
        break;
    }
    return entry;
}

void describeL5ProKind(FileKind kind, Description& d) {
    // The raw-data properties the L5Pro updater sends each kind to.
    constexpr int kFirmwareProperty = 4039;
    constexpr int kPresetProperty = 4060;
    d.header["rawDataProperty"] =
        kind == FileKind::PresetPackage ? kPresetProperty : kFirmwareProperty;
    d.families = {"L5Pro", "L945Se"};
    d.products.push_back(product(kL5ProPid));
    d.notes.push_back(
        "the library sends it unchanged and leaves every check of its contents to the camera");
    if (kind == FileKind::PresetPackage) {
        d.notes.push_back("sent once, without following the camera's install progress");
    }
    d.notes.push_back(
        "L945Se cameras are known only through a device-group table that the "
        "application fills at run time");
}

}  // namespace inspect

Json describeFile(const Bytes& data) {
    using namespace inspect;
    const std::vector<FileKind> kinds = matchingKinds(data);
    const FileKind kind = kinds.empty() ? FileKind::Unknown : kinds.front();
    Description d;
    if (data.size() > std::numeric_limits<uint32_t>::max()) {
        // Every parser takes a 32-bit size.
        d.refuse("too large for the library (more than 4 GiB)");
    } else {
        switch (kind) {
            case FileKind::MiroMaxPackage:
                describeMiroMaxPackage(data, d);
                break;
            case FileKind::L5ProComposite:
            case FileKind::ComputingPowerBoard:
            case FileKind::PresetPackage:
                describeL5ProKind(kind, d);
                break;
            case FileKind::L840Presets:
                describeL840Presets(data, d);
                break;
            case FileKind::L5Image:
                describeL5Image(data, d);
                break;
            case FileKind::L840Container:
                describeL840Container(data, d);
                break;
            case FileKind::OpenNIImage:
                describeOpenNIImage(data, d);
                break;
            case FileKind::Unknown:
                d.notes.push_back("carries the signature of no file kind the library takes");
                break;
        }
    }
    Json also = Json::array();
    for (size_t i = 1; i < kinds.size(); ++i) also.push_back(kindId(kinds[i]));
    return Json{
        {"size", data.size()},
        {"kind", kindId(kind)},
        {"title", kindTitle(kind)},
        {"alsoMatches", also},
        {"accepted", kind != FileKind::Unknown && !d.refused},
        {"refusal", d.refused ? Json(d.refusal) : Json(nullptr)},
        {"header", d.header},
        {"components", d.components},
        {"fits",
         {{"families", d.families}, {"products", d.products}, {"anyProduct", d.anyProduct}}},
        {"notes", d.notes},
    };
}

}  // namespace vxfw
