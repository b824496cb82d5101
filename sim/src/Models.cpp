// The model catalog and the description parser. A family's device-side behaviour beyond the
// common protocol (firmware install, upgrade status, preset properties) belongs in
// addFamilyBehaviour, or in a VirtualCamera subclass that buildCamera creates for it.
#include "vxsim/Models.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>
#include <stdexcept>

#include "vxsim/Boot.h"
#include "vxsim/Install.h"
#include "vxsim/Wire.h"

namespace vxsim {
namespace {

constexpr uint16_t kGroupL840Series = 0;
constexpr uint16_t kGroupL845Se = 2;
constexpr uint16_t kGroupKovraA = 3;
constexpr uint16_t kGroupL840AndKovraA = 4;
constexpr uint16_t kGroupProductNames = 5;
constexpr uint16_t kGroupL945Se = 6;
constexpr size_t kNameRecordSize = 68;

ModelInfo model(std::string name, std::string product, uint16_t pid, std::string firmware,
                Family family) {
    ModelInfo info;
    info.name = std::move(name);
    info.productName = std::move(product);
    info.pid = pid;
    info.firmware = std::move(firmware);
    info.family = family;
    return info;
}

std::vector<ModelInfo> buildCatalog() {
    std::vector<ModelInfo> c;
    const auto l840 = [&](std::string name, std::string product, uint16_t pid, uint32_t capacity,
                          std::vector<uint16_t> groups) {
        ModelInfo info = model(std::move(name), std::move(product), pid, "1.7.16", Family::L840);
        info.ispVersion = "1.0.0";
        info.bootloaderPid = 0x0501;
        info.customerDataCapacity = capacity;
        info.deviceGroups = std::move(groups);
        c.push_back(std::move(info));
    };
    l840("l840", "Lumex 840", 0x0800, 128,
         {kGroupL840Series, kGroupL840AndKovraA, kGroupProductNames});
    l840("kovra-a", "Kovra A", 0x0810, 128,
         {kGroupKovraA, kGroupL840AndKovraA, kGroupProductNames});
    l840("l845se", "Lumex 845Se", 0x0820, 128,
         {kGroupL845Se, kGroupL840AndKovraA, kGroupProductNames});
    l840("l945se", "Lumex 945Se", 0x0830, 1024, {kGroupL945Se, kGroupProductNames});

    c.push_back(model("l815", "Lumex 815", 0x0840, "1.5.6", Family::L815));
    c.push_back(model("l819x", "Lumex 819x", 0x0845, "1.5.6", Family::L815));

    const auto l5 = [&](std::string name, std::string product, uint16_t pid, std::string prefix) {
        ModelInfo info = model(std::move(name), std::move(product), pid, "1.2.20", Family::L5);
        info.bootloaderPid = 0x0501;
        info.serialPrefix = std::move(prefix);
        c.push_back(std::move(info));
    };
    l5("l5", "Lumex 5", 0x0670, "AY3");
    l5("l5s", "Lumex 5 S", 0x0673, "AY8");
    l5("pellin3", "Pellin 3", 0x0660, "AAR");
    l5("lumex470", "Lumex 470", 0x0808, "AYX");

    ModelInfo pro = model("l5pro", "Lumex 5 Pro", 0x0671, "1.2.20", Family::L5Pro);
    pro.customerDataCapacity = 1024;
    c.push_back(pro);

    ModelInfo openni = model("openni", "OpenNI camera", 0x060E, "2.5.1", Family::OpenNI);
    openni.bootloaderPid = 0x0400;
    openni.customerDataCapacity = 32;
    c.push_back(openni);

    ModelInfo miromax = model("miromax", "miro max", 0x0669, "1.1.8", Family::MiroMax);
    miromax.connection = "Ethernet";
    c.push_back(miromax);
    ModelInfo dk700 = model("ra-dk700v", "ra-dk700v", 0x06C0, "1.1.8", Family::MiroMax);
    dk700.connection = "Ethernet";
    c.push_back(dk700);
    return c;
}

const std::vector<std::pair<std::string, std::string>>& aliases() {
    static const std::vector<std::pair<std::string, std::string>> list{
        {"l840-boot", "l840"}, {"l5-boot", "l5"}, {"openni-boot", "openni"}};
    return list;
}

void putLe16At(std::vector<uint8_t>& bytes, size_t offset, uint16_t value) {
    bytes[offset] = static_cast<uint8_t>(value & 0xFFu);
    bytes[offset + 1] = static_cast<uint8_t>(value >> 8);
}

void appendRecord(std::vector<uint8_t>& out, uint16_t group, const ModelInfo& info) {
    wire::putLe16(out, info.vid);
    wire::putLe16(out, info.pid);
    if (group != kGroupProductNames) return;
    std::vector<uint8_t> name(kNameRecordSize - 4, 0);
    std::copy_n(info.productName.begin(), std::min(info.productName.size(), name.size() - 1),
                name.begin());
    out.insert(out.end(), name.begin(), name.end());
}

GroupRecords collectGroups(const std::vector<const ModelInfo*>& models) {
    GroupRecords groups;
    for (const uint16_t group : {kGroupL840Series, kGroupL845Se, kGroupKovraA, kGroupL840AndKovraA,
                                 kGroupProductNames, kGroupL945Se}) {
        std::vector<uint8_t> records;
        for (const ModelInfo* info : models) {
            const auto& g = info->deviceGroups;
            if (std::find(g.begin(), g.end(), group) != g.end()) {
                appendRecord(records, group, *info);
            }
        }
        if (!records.empty()) groups.emplace_back(group, std::move(records));
    }
    return groups;
}

// ---- Description parsing --------------------------------------------------------------------

struct Options {
    std::string connection;
    std::string firmware;
    bool bootloader = false;
    size_t flashSize = VirtualCamera::kDefaultFlashSize;
    std::optional<std::string> isp;
    bool saveInfoFallback = false;
};

std::string trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Every option a description may hold, the session's own included (see Session.h), so that a
// typo is answered with the whole list.
const char* const kOptionList =
    "conn=USB2.0|USB3.0|GMSL2|Ethernet, fw=VERSION, boot, flash=SIZE, isp=VERSION, "
    "saveinfo=primary|fallback; with --sim also fault=TARGET[@N]:KIND[:VALUE], disappear=N, "
    "install=ok|fail|never, state=FILE, interrupt=N[:COUNT], cut=N, reboot";

[[noreturn]] void refuse(const std::string& description, const std::string& why) {
    throw std::invalid_argument("camera description '" + description + "': " + why);
}

size_t parseSize(const std::string& description, const std::string& text) {
    std::string digits = text;
    size_t unit = 1;
    std::string lower;
    for (char ch : text) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    struct Suffix {
        const char* text;
        size_t factor;
    };
    static const Suffix suffixes[] = {{"kib", size_t{1} << 10},
                                      {"mib", size_t{1} << 20},
                                      {"k", size_t{1} << 10},
                                      {"m", size_t{1} << 20}};
    const bool isHex = lower.compare(0, 2, "0x") == 0;
    for (const Suffix& suffix : suffixes) {
        const std::string s = suffix.text;
        if (!isHex && lower.size() > s.size() &&
            lower.compare(lower.size() - s.size(), s.size(), s) == 0) {
            digits = text.substr(0, text.size() - s.size());
            unit = suffix.factor;
            break;
        }
    }
    size_t used = 0;
    unsigned long long value = 0;
    try {
        value = std::stoull(digits, &used, 0);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != digits.size() || digits[0] == '-' ||
        value > VirtualCamera::kMaxFlashSize / unit) {
        refuse(description, "bad flash size '" + text + "'");
    }
    return static_cast<size_t>(value) * unit;
}

const ModelInfo& parse(const std::string& description, Options& options) {
    std::vector<std::string> parts;
    size_t start = 0;
    while (true) {
        const size_t comma = description.find(',', start);
        parts.push_back(trim(description.substr(start, comma - start)));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    std::string name = parts[0];
    if (name.empty()) refuse(description, "no model named");
    for (const auto& [alias, base] : aliases()) {
        if (name == alias) {
            name = base;
            options.bootloader = true;
        }
    }
    const auto& catalog = modelCatalog();
    const auto found = std::find_if(catalog.begin(), catalog.end(),
                                    [&](const ModelInfo& m) { return m.name == name; });
    if (found == catalog.end()) refuse(description, "unknown model '" + name + "'");
    const ModelInfo& info = *found;
    options.connection = info.connection;
    options.firmware = info.firmware;

    for (size_t i = 1; i < parts.size(); ++i) {
        const std::string& part = parts[i];
        const size_t eq = part.find('=');
        const std::string key = trim(part.substr(0, eq));
        const bool hasValue = eq != std::string::npos;
        const std::string value = hasValue ? trim(part.substr(eq + 1)) : std::string();
        if (key == "boot") {
            if (hasValue) refuse(description, "option 'boot' takes no value");
            options.bootloader = true;
        } else if (!hasValue || value.empty()) {
            refuse(description, "option '" + part + "' needs a value");
        } else if (key == "conn") {
            // Only links the emulator can model: the library judges the text, and a typo would
            // otherwise pass as an unknown USB link.
            if (!linkPreset(value)) {
                std::string message = "unknown connection type '" + value + "' (known:";
                for (const LinkModel& link : linkPresets()) message.append(" ").append(link.name);
                refuse(description, message.append(")"));
            }
            options.connection = linkPreset(value)->name;
        } else if (key == "fw") {
            options.firmware = value;
        } else if (key == "flash") {
            options.flashSize = parseSize(description, value);
        } else if (key == "isp") {
            options.isp = value;
        } else if (key == "saveinfo" && (value == "fallback" || value == "primary")) {
            options.saveInfoFallback = value == "fallback";
        } else {
            refuse(description, "unknown option '" + part + "' (options: " + kOptionList + ")");
        }
    }
    if (options.bootloader && info.bootloaderPid == 0) {
        refuse(description, "model '" + info.name + "' has no bootloader mode");
    }
    if (options.saveInfoFallback && !(options.bootloader && info.family == Family::L5)) {
        refuse(description, "saveinfo=fallback needs an L5-family camera in bootloader mode");
    }
    if (options.flashSize < VirtualCamera::kMinFlashSize) {
        refuse(description, "flash smaller than 8 MiB");
    }
    return info;
}

// ---- Building a camera ----------------------------------------------------------------------

std::shared_ptr<VirtualCamera> buildCamera(const ModelInfo& /*info*/, const Options& options) {
    return std::make_shared<VirtualCamera>(options.flashSize);
}

// The normal firmware keeps its identity in flash for the bootloader it may have to fall back on,
// so cameras made in either mode have it.
void addSaveInfo(const ModelInfo& info, const Options& options, VirtualCamera& camera) {
    if (info.family == Family::L840) {
        std::vector<uint8_t> record(kL840SaveInfoSize, 0);
        putLe16At(record, 32, info.vid);
        putLe16At(record, 34, info.pid);
        camera.writeFlashDirect(kSaveInfoOffset, record);
    } else if (info.family == Family::L5) {
        std::vector<uint8_t> record(kL5SaveInfoSize, 0);
        std::vector<uint8_t> magic;
        wire::putLe32(magic, kL5SaveInfoMagic);
        std::copy(magic.begin(), magic.end(), record.begin());
        std::copy_n(info.serialPrefix.begin(), 3, record.begin() + 20);
        std::copy_n(info.serialPrefix.begin(), 3, record.begin() + 40);
        const uint32_t at = options.saveInfoFallback ? kSaveInfoFallbackOffset : kSaveInfoOffset;
        camera.writeFlashDirect(at, record);
    }
}

void addFamilyBehaviour(const ModelInfo& info, VirtualCamera& camera) {
    if (info.customerDataCapacity > 0) {
        camera.addRawDataObject(kCustomerDataId, info.customerDataCapacity);
    }
    if (info.family == Family::MiroMax) camera.setProperty(kRecoveryModeProperty, 1);
    if (info.family == Family::L840 || info.family == Family::L815) {
        camera.setPropertyHook(kPresetClearProperty, [&camera](uint32_t, int32_t) -> uint16_t {
            camera.writeFlashDirect(kPresetAreaOffset, std::vector<uint8_t>(kPresetAreaSize, 0xFF));
            return 0;
        });
    }
    addSelfInstallFor(info, camera);
}

}  // namespace

const std::vector<ModelInfo>& modelCatalog() {
    static const std::vector<ModelInfo> catalog = buildCatalog();
    return catalog;
}

const ModelInfo& findModel(const std::string& name) {
    for (const ModelInfo& info : modelCatalog()) {
        if (info.name == name) return info;
    }
    throw std::invalid_argument("unknown camera model '" + name + "'");
}

std::vector<std::string> modelNames() {
    std::vector<std::string> names;
    for (const ModelInfo& info : modelCatalog()) names.push_back(info.name);
    for (const auto& alias : aliases()) names.push_back(alias.first);
    return names;
}

std::vector<std::string> modelDescriptions() {
    std::vector<std::string> lines;
    char text[160];
    for (const ModelInfo& info : modelCatalog()) {
        std::snprintf(text, sizeof text, "%-12s %-14s %04X:%04X  %-9s fw %-8s", info.name.c_str(),
                      info.productName.c_str(), static_cast<unsigned>(info.vid),
                      static_cast<unsigned>(info.pid), info.connection.c_str(),
                      info.firmware.c_str());
        std::string line = text;
        if (info.bootloaderPid != 0) {
            std::snprintf(text, sizeof text, "  boot pid %04X",
                          static_cast<unsigned>(info.bootloaderPid));
            line += text;
        }
        if (info.customerDataCapacity != 0) {
            line += "  customer data " + std::to_string(info.customerDataCapacity) + " B";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        lines.push_back(line);
    }
    for (const auto& [alias, base] : aliases()) {
        std::string line = alias;
        line.append(" = ").append(base).append(",boot");
        lines.push_back(std::move(line));
    }
    return lines;
}

GroupRecords groupRecords() {
    std::vector<const ModelInfo*> all;
    for (const ModelInfo& info : modelCatalog()) all.push_back(&info);
    return collectGroups(all);
}

GroupRecords groupRecords(const std::string& modelName) {
    return collectGroups({&findModel(modelName)});
}

EmulatedCamera::EmulatedCamera(ModelInfo model, bool bootloader, Identity identity,
                               std::shared_ptr<VirtualCamera> camera)
    : model_(std::move(model)),
      bootloader_(bootloader),
      device_(std::move(identity)),
      camera_(std::move(camera)) {
    boot_ = std::make_shared<BootRecords>(camera_);
    device_.setResponder(boot_);
    faults_ = attachFaults(device_);
    device_.setLinkModel(linkPreset(device_.identity().connectionType));
    // A camera made in its bootloader has no firmware to fall back on.
    boot_->state().firmwareMissing = bootloader;
    setBootloaderMode(bootloader);
}

void EmulatedCamera::setBootloaderMode(bool on) {
    if (on && model_.bootloaderPid == 0) {
        throw std::invalid_argument("model '" + model_.name + "' has no bootloader mode");
    }
    bootloader_ = on;
    device_.identity().pid = on ? model_.bootloaderPid : model_.pid;
    if (model_.family != Family::L840) return;
    if (on) {
        camera_->setHostStructuredData(kBootloaderInfoId, std::vector<uint8_t>(16, 0));
    } else {
        camera_->removeHostStructuredData(kBootloaderInfoId);
    }
}

std::unique_ptr<EmulatedCamera> makeCamera(const std::string& description) {
    Options options;
    const ModelInfo& info = parse(description, options);
    Identity identity;
    identity.vid = info.vid;
    identity.pid = options.bootloader ? info.bootloaderPid : info.pid;
    identity.connectionType = options.connection;
    identity.firmwareVersion = options.firmware;
    const std::string isp = options.isp.value_or(info.ispVersion);
    if (!isp.empty()) identity.extensionInfo["IspFwVer"] = isp;

    auto camera = buildCamera(info, options);
    addFamilyBehaviour(info, *camera);
    if (info.bootloaderPid != 0) addSaveInfo(info, options, *camera);
    return std::make_unique<EmulatedCamera>(info, options.bootloader, std::move(identity),
                                            std::move(camera));
}

}  // namespace vxsim
