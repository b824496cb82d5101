// Every refusal of the update entry points, for every family, through one runner: the one report
// (state, message, percent 0), the error object (or none, for a refusal that is only reported),
// and a camera left as it was. Each case runs with and without a callback.
#include <functional>

#include "firmware/L5FirmwareParser.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "presets/L840OptionalDepthPresetsParser.h"
#include "support/Catalog.h"

using namespace libvxsensor;

namespace wire = vxsim::wire;
using vxsim::Fault;
using vxsim::FaultRule;
using C = L840ContainerWriter;
using R = L840RecordWriter;
using Prepare = std::function<void(vxsim::EmulatedCamera&)>;

namespace {

enum class Entry { Memory, File, Presets };

struct Refusal {
    Refusal(std::string cam, Entry e, std::vector<std::vector<uint8_t>> f, int state, std::string m)
        : camera(std::move(cam)), entry(e), files(std::move(f)), report{state, std::move(m), 0} {}

    std::string camera;
    Entry entry;
    std::vector<std::vector<uint8_t>> files;  // the image, or the preset files
    std::vector<std::string> paths;           // given as they are, before the files
    UpgradeReport report;
    int type = 1;        // the error object's exception type
    bool thrown = true;  // else reported without an error object
    bool reads = false;  // the camera is read before the refusal
    Prepare prepare;
    std::string logged;  // a log line the refusal leaves

    // Chained on a case: `image(...).reading().with(...)`.
    Refusal& only() { return thrown = false, *this; }
    Refusal& reading() { return reads = true, *this; }
    Refusal& with(Prepare p) { return prepare = std::move(p), *this; }
    Refusal& typed(int t) { return type = t, *this; }
    Refusal& logs(std::string text) { return logged = std::move(text), *this; }
};

Refusal image(const char* camera, std::vector<uint8_t> file, int state, std::string message) {
    return {camera, Entry::Memory, {std::move(file)}, state, std::move(message)};
}
Refusal presets(const char* camera, std::vector<std::vector<uint8_t>> files, int state,
                std::string message) {
    return {camera, Entry::Presets, std::move(files), state, std::move(message)};
}
Refusal path(std::string path, int state) {
    Refusal c("l840", Entry::File, {}, state, "Failed to read firmware file");
    c.paths = {std::move(path)};
    return c.typed(7);
}

const char* functionOf(Entry entry) {
    switch (entry) {
        case Entry::Memory:
            return "vx_device_update_firmware_from_raw_data_ext";
        case Entry::File:
            return "vx_device_update_firmware_ext";
        case Entry::Presets:
            break;
    }
    return "vx_device_update_preset_ext";
}

// Whether every request only asked the camera something.
bool onlyReads(vxsim::EmulatedCamera& cam) {
    for (const int op : opcodes(cam)) {
        if (op != wire::GetProperty && op != wire::GetStructureData && op != wire::ReadFlash)
            return false;
    }
    return true;
}

Prepare fault(FaultRule rule) {
    return [rule](vxsim::EmulatedCamera& cam) { cam.faults().add(rule); };
}
Prepare ids(uint16_t vid, uint16_t pid) {
    return [vid, pid](vxsim::EmulatedCamera& cam) {
        cam.device().identity().vid = vid;
        cam.device().identity().pid = pid;
    };
}
Prepare failHost(vxsim::HostCall call, uint32_t skip, const char* message) {
    return [=](vxsim::EmulatedCamera&) {
        vxsim::Host::instance().failCall(call, {skip, 1, message});
    };
}

}  // namespace

class RefusalsTest : public CatalogTest {
protected:
    void expectRefused(const Refusal& c) {
        for (const bool withCallback : {true, false}) {
            SCOPED_TRACE(c.camera + ": " + std::get<1>(c.report) +
                         (withCallback ? "" : ", no callback"));
            fillGroupTables();
            auto cam = vxsim::makeCamera(c.camera);
            if (c.prepare) c.prepare(*cam);
            UpgradeRecorder r;
            if (c.entry == Entry::Memory) update(*cam, c.files.at(0), r, withCallback);
            if (c.entry == Entry::Presets) upload(*cam, c.files, r, c.paths, withCallback);
            if (c.entry == Entry::File) {
                vx_device_update_firmware_ext(cam->handle(), c.paths[0].c_str(),
                                              withCallback ? UpgradeRecorder::record : nullptr,
                                              false, &r, &r.error);
            }
            EXPECT_EQ(r.reports, withCallback ? std::vector<UpgradeReport>{c.report}
                                              : std::vector<UpgradeReport>{});
            if (c.thrown) {
                r.expectError(std::get<1>(c.report), functionOf(c.entry), c.type);
            } else {
                EXPECT_EQ(r.error, nullptr) << "reported, not thrown";
            }
            const vxsim::CameraCounters& n = cam->camera().counters();
            EXPECT_EQ(n.erases + n.flashWrites + n.rawDataWritesFinished, 0u) << "written";
            EXPECT_TRUE(c.reads ? onlyReads(*cam) : cam->device().exchanges().empty());
            if (!c.logged.empty()) {
                EXPECT_EQ(logLinesWith(c.logged).size(), 1u);
            }
            host().reset();
        }
    }
};

TEST_F(RefusalsTest, L840Family) {
    // In bootloader mode only the identity saved in flash tells which components are the
    // camera's. The campaign found a failed read taken for an absent record, and a review found
    // an unrecognised record ending "successfully" after skipping every component naming products.
    const std::string unreadable =
        "Failed to read the device identity from flash in bootloader mode";
    const std::string unknown =
        "The device identity saved in flash is not recognised in bootloader mode";
    const Refusal cases[] = {
        // The name comes from the bootloader identity, so only a bootloader names the model.
        image("l840", C().serial("Kovra A").component(R()).write(), -9,
              "Firmware mismatch for  : unmatched serial Kovra A"),
        image("l840,boot", C().serial("Kovra A").component(R()).write(), -9,
              "Firmware mismatch for Lumex 840 : unmatched serial Kovra A")
            .reading(),
        image("l815", C().serial("Lumex 840").component(R()).write(), -9,
              "Firmware mismatch for  : unmatched serial Lumex 840"),
        image("l845se", C().date("20250407").component(R()).write(), -9,
              "The current firmware is invalid, dateTime: 20250407"),
        image("l840", C().serial("Lumex 840").component(R().checksumOffBy(1)).write(), -9,
              "Checksum mismatch!\nInvalid input file or file has been damaged"),
        // A write size beyond the component's data, before anything is written.
        image("l840", C().serial("Lumex 840").component(R().writeSize(5)).write(), -9,
              "Parse firmware data failed!\nInvalid input data or data has been damaged"),
        image("l840", C().serial("Lumex 840").component(R().pids({0x0999})).write(), -9,
              "Update failed!\nIncompatible firmware file for current device!")
            .only(),
        image("l840,boot", bootAndMain(), -6, unreadable)
            .reading()
            .with(fault(FaultRule::onOpcode(wire::ReadFlash, 0, Fault::transportError()))),
        image("l840,boot", bootAndMain(), -10, unknown)  // one bit of the saved product flipped
            .reading()
            .with(fault(FaultRule::onOpcode(wire::ReadFlash, 0, Fault::bitFlip(272)))),
        image("l840,boot", bootAndMain(), -10, unknown)
            .reading()
            .with([](vxsim::EmulatedCamera& cam) {
                cam.camera().writeFlashDirect(vxsim::kSaveInfoOffset,
                                              std::vector<uint8_t>(vxsim::kL840SaveInfoSize, 0xFF));
            }),
    };
    for (const Refusal& c : cases) expectRefused(c);
}

TEST_F(RefusalsTest, L5AndOpenNIFamilies) {
    const Refusal cases[] = {
        image("l5", C().write(), -9, "Invalid input file: too small"),
        // Only a bootloader names the model; the number quoted is the file's.
        image("l5", L5ImageWriter().pid(0x0660).write(), -9,
              "Invalid input file!\nFirmware mismatch for  : unmatched pid 1632"),
        image("l5s,boot", L5ImageWriter().pid(0x0670).write(), -9,
              "Invalid input file!\nFirmware mismatch for Lumex 5 S : unmatched pid 1648")
            .reading(),
        image("l5,boot", L5ImageWriter().write(), -10, "Cannot get pid from bootloader mode.")
            .reading()
            .with([](vxsim::EmulatedCamera& cam) {
                cam.camera().writeFlashDirect(vxsim::kSaveInfoOffset,
                                              std::vector<uint8_t>(56, 0xFF));
            }),
        image("l5", L5ImageWriter().pid(0x0660).size(0x10001).write(), -9,
              "Invalid input file!\nFirmware mismatch for  : unmatched pid 1632"),
        image("pellin3", L5ImageWriter().pid(0x0660).size(0x10001).write(), -9,
              "Invalid input file: invalid size"),
        image("lumex470", L5ImageWriter().pid(0x0808).magic(0).write(), -9,
              "Invalid input file: invalid magic"),
        image("openni", bytes(0x30001, 1), -9, "Invalid input file: Invalid firmware size."),
    };
    for (const Refusal& c : cases) expectRefused(c);
}

TEST_F(RefusalsTest, L5ProAndMiroMaxFamilies) {
    const std::string incompatible =
        "Update failed!\nIncompatible firmware file for current device!";
    const std::string parseFailed =
        "Parse firmware data failed!\nInvalid input data or data has been damaged";
    using M = MiroMaxPackageWriter;
    const Refusal cases[] = {
        image("l5pro", C().component(R().pids({0x0999})).write(), -9, incompatible).only(),
        image("l5pro", C().write(), -9, incompatible).only(),
        image("l945se", C().component(R().pids({0x0671})).write(), -9, incompatible).only(),
        image("l5pro", {'P', 'K', 3}, -9, parseFailed),
        image("miromax,conn=USB3.0", M().write(), -6,
              "Miro max device only support upgrade firmware via ethernet now!"),
        image("miromax", M().productName("ra-dk700v").write(), -9,
              "Firmware mismatch, unsupported product name: ra-dk700v"),
        image("ra-dk700v", M().productName("RA-DK700V").firmwareType(3).write(), -9,
              "Parse firmware data failed!\nMiro Max doesn't support upgrade application now"),
        image("miromax", M().firmwareType(7).write(), -9,
              "Parse firmware data failed!\nInvalid firmware type: 7"),
        image("miromax", M().magic("ZZZZ").write(), -9, parseFailed),
        image("miromax", M().write(), -6,
              "Please ensure that you have activated the recovery mode!")
            .reading()
            .with([](vxsim::EmulatedCamera& cam) {
                cam.camera().setProperty(vxsim::kRecoveryModeProperty, 0);
            }),
    };
    for (const Refusal& c : cases) expectRefused(c);
}

TEST_F(RefusalsTest, Presets) {
    const auto file = [](const char* product = "Lumex 800") {
        return L840PresetFileWriter().product(product).record(R()).write();
    };
    const std::string count = "The number of preset file must be 1~3!";
    // An L840 and its bootloader, listed as the L840 series.
    const Prepare bootloaderListed = [](vxsim::EmulatedCamera&) {
        const uint8_t records[] = {0x6E, 0x3A, 0x00, 0x08, 0x6E, 0x3A, 0x01, 0x05};
        vx_set_device_info_data(0, records, sizeof records, nullptr);
        vx_set_device_info_data(4, records, sizeof records, nullptr);
    };
    Refusal missing = presets("l840", {file()}, -12, "Failed to read preset file").typed(7);
    missing.paths = {"/no/such/preset.bin"};
    const Refusal cases[] = {
        presets("l840", {}, -11, count),
        presets("l840", {file(), file(), file(), file()}, -11, count),
        presets("l945se", {file(), file()}, -11, "The number of preset file must be 1!"),
        presets("kovra-a,fw=1.9.02", {file()}, -10,
                "Unsupported device! Firmware version must be >= 1.9.03"),
        presets("l840,fw=1.4.40", {file()}, -10,
                "Unsupported device! Firmware version must be >= 1.4.41"),
        // The firmware gate comes first, then the bootloader refusal.
        presets("l840,boot,fw=1.4.40", {file()}, -10,
                "Unsupported device! Firmware version must be >= 1.4.41")
            .with(bootloaderListed),
        presets("l840,boot,fw=1.7.16", {file()}, -10, "Unsupported device in bootloader mode!")
            .with(bootloaderListed),
        presets("l5", {file()}, -10,
                "Failed to create OptionalDepthPresetsUpdater! Unsupported device, pid: 1648"),
        presets("l840", {file("Lumex 999")}, -9, "Preset data product mismatch: Lumex 999"),
        presets("l840", {L840PresetFileWriter().record(R().pids({0x0999})).write()}, -9,
                "Preset data is not adaptable with the current device, pid: 2048"),
        presets("l840", {L840PresetFileWriter().record(R()).record(R()).write()}, -9,
                "All preset file data is mismatched!"),
        presets("l840", {L840PresetFileWriter().record(R().writeSize(65)).write()}, -9,
                "Parse preset data failed!\nInvalid input data or data has been damaged"),
        missing,  // every file is read before the camera is contacted
    };
    for (const Refusal& c : cases) expectRefused(c);
}

TEST_F(RefusalsTest, FilesThatCannotBeReadAndDevicesThatCannotBeServed) {
    const Refusal cases[] = {
        path("/no/such/file.bin", -12),
        path(::testing::TempDir(), -5),
        image("l840", C().write(), -10,
              "Failed to create FirmwareUpdater! Unsupported device, vid:14958 pid: 1643")
            .with(ids(0x3A6E, 0x066B)),
        image("l840", C().write(), -10,
              "Failed to create FirmwareUpdater! Unsupported device, vid:4660 pid: 2048")
            .with(ids(0x1234, 0x0800)),
        image("l840", C().write(), -6, "unplugged")
            .with(failHost(vxsim::HostCall::InfoGetVid, 0, "unplugged")),
    };
    for (const Refusal& c : cases) expectRefused(c);
}

// A host that fails to release device information has failed: the operation ends there, with the
// host's message, before anything is sent: at the factory's release, or at the updater's own.
TEST_F(RefusalsTest, AFailedReleaseOfDeviceInformationEndsTheUpdate) {
    const std::vector<uint8_t> l840 = C().component(R().name("main").data(bytes(64, 1))).write();
    const std::pair<const char*, std::vector<uint8_t>> cameras[] = {
        {"l840", l840},
        {"l5", L5ImageWriter().write()},
        {"l5pro", l840},
        {"openni", bytes(0x20000, 3)},
        {"miromax", MiroMaxPackageWriter().write()},
    };
    for (const uint32_t skip : {0u, 1u}) {
        for (const auto& [camera, file] : cameras) {
            expectRefused(
                image(camera, file, -6, "release refused")
                    .with(failHost(vxsim::HostCall::DeleteDeviceInfo, skip, "release refused"))
                    .logs("- where: vx_delete_device_info\n - msg: release refused"));
        }
    }
}
