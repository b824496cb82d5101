// vxfw update, presets, customer-data, flash, devices and sim: the library's operations on a camera
// that a device plugin opens. Every operation goes through the library's exported C functions,
// as an application's would; a dry run asks the library's own checks instead.
#include <signal.h>
#include <algorithm>

#include <chrono>
#include <cinttypes>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "ExceptionTranslation.h"
#include "common/Sleep.h"
#include "common/Utils.h"
#include "firmware/FirmwareMessages.h"
#include "firmware/FirmwareUpdaterFactory.h"
#include "firmware/L840FirmwareParser.h"
#include "presets/IOptionalDepthPresetsUpdater.h"
#include "vendorcommand/VendorCommand.h"
#include "vxfw/Commands.h"
#include "vxfw/DeviceStates.h"
#include "vxfw/ExitCodes.h"
#include "vxfw/FileKinds.h"
#include "vxfw/HostSeam.h"
#include "vxfw/Numbers.h"
#include "vxfw/Output.h"
#include "vxfw/Plugin.h"
#include "vxfw/Recovery.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/LinkModel.h"

namespace vxfw {

namespace {

constexpr size_t kPathSlot = 1024;
// Larger than any camera's customer-data area, so the library's capacity check never bites.
constexpr uint32_t kCustomerDataBuffer = 64 * 1024;

struct DeviceArgs {
    DeviceChoice choice;
    bool verbose = false;
    bool json = false;
    bool dataOnStdout = false;  // -o -: the report then goes to standard error
};

void addDeviceOptions(CLI::App* command, DeviceArgs& args) {
    command->add_option("--sim", args.choice.sim,
                        "Work on an emulated camera: MODEL[,option=value...] (vxfw sim list; "
                        "options conn, fw, boot, flash, isp, saveinfo, fault, disappear, "
                        "install, state, cut, reboot)");
    command->add_option("--device-plugin", args.choice.plugin,
                        "The device plugin (a shared object) that opens real cameras; default "
                        "$VXFW_DEVICE_PLUGIN or device-plugin in /etc/vxfw.conf");
    command->add_option("--device", args.choice.device,
                        "Which camera the plugin opens (vxfw devices lists them); default "
                        "$VXFW_DEVICE or device in /etc/vxfw.conf");
    command->add_flag("--json", args.json, "JSON Lines on standard output");
    command->add_flag("-v,--verbose", args.verbose,
                      "Show the library's warnings and errors on stderr");
}

const CLI::Validator kNumber(
    [](std::string& text) {
        return parseNumber(text, UINT32_MAX) ? std::string() : "not a 32-bit number: " + text;
    },
    "NUMBER");

uint32_t number(const std::string& text) {
    return static_cast<uint32_t>(*parseNumber(text, UINT32_MAX));
}

double secondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Bytes readInput(const std::string& path) {
    Bytes bytes;
    std::string error;
    if (!readWholeFile(path, bytes, error)) throw UsageError("cannot read " + path + ": " + error);
    return bytes;
}

// "-" is standard output, for a pipe; anything else a file.
void writeOutput(const std::string& path, const Bytes& bytes) {
    if (path == "-") {
        if (std::fwrite(bytes.data(), 1, bytes.size(), stdout) != bytes.size()) {
            throw UsageError("cannot write to standard output");
        }
        std::fflush(stdout);
        return;
    }
    std::string error;
    if (!writeWholeFile(path, bytes, error))
        throw UsageError("cannot write " + path + ": " + error);
}

// ---- Pauses and interrupts --------------------------------------------------------------------

// The library's pauses wait for a real camera to erase or install; an emulated one is done at
// once, so they are counted instead of slept.
uint64_t g_skippedMs = 0;
void skipSleep(uint32_t milliseconds) {
    g_skippedMs += milliseconds;
}

extern "C" void onSignal(int signal) {
    vxfw::seam::interrupt();
    // A third signal is an order: the default action ends the process at once.
    if (vxfw::seam::interruptCount() >= 3) {
        ::signal(signal, SIG_DFL);
        ::raise(signal);
    }
}

void catchSignals() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
}

// What an interrupted run leaves, in the protocol's terms (what to do next is Recovery's).
std::string interruptedMessage() {
    std::string held;
    for (const seam::CompletedWrite& w : seam::completedWrites()) {
        char text[64];
        std::snprintf(text, sizeof text, "%s %u bytes at %s0x%X", held.empty() ? "" : ",", w.size,
                      w.flash ? "" : "raw-data ", w.where);
        held += text;
    }
    std::string message = held.empty() ? "the camera acknowledged no complete write"
                                       : "the camera acknowledged" + held;
    if (const auto open = seam::unfinishedWrite()) {
        char text[96];
        std::snprintf(text, sizeof text, "; the write of %u bytes at %s0x%X was cut short",
                      open->size, open->flash ? "" : "raw-data ", open->where);
        message += text;
    }
    return message;
}

// ---- One run on one camera ----------------------------------------------------------------------

class Run {
public:
    Run(const DeviceArgs& args, const DevicePlugin& plugin, CameraSession& camera,
        uint64_t totalBytes)
        : out(args.json, args.dataOnStdout ? stderr : stdout, usageClock(plugin, camera),
              totalBytes),
          camera_(camera),
          modelled_(plugin.table().virtual_time != 0),
          start_(std::chrono::steady_clock::now()) {}

    Output out;
    bool installing = false;  // the camera had started to install what it was sent

    void startTiming() { start_ = std::chrono::steady_clock::now(); }
    void stopTiming() { seconds_ = secondsSince(start_); }

    // The final report with the run's figures; returns `exit`.
    ExitCode finish(ExitCode exit, const std::string& result, std::optional<int> state,
                    const std::string& message) {
        RunFigures f;
        const seam::Totals& t = seam::totals();
        f.exchanges = t.exchanges;
        f.failedExchanges = t.failed;
        f.bytesSent = t.bytesSent;
        f.bytesReceived = t.bytesReceived;
        f.seconds = seconds_;
        f.skippedPauseSeconds = static_cast<double>(g_skippedMs) / 1000.0;
        f.modelled = modelled_;
        f.cameraReport = camera_.report();
        return out.finish(exit, result, state, message, f,
                          nextStep(exit, seam::cameraStoppedAnswering()));
    }
    ExitCode finish(const StateMeaning& meaning, const std::string& message) {
        if (seam::stoppedByInterrupt()) return interrupted();
        if (seam::interruptCount() > 0) {
            out.event({{"type", "note"},
                       {"text", "interrupted during the last transfer step, which finished"}},
                      "Interrupted during the last transfer step, which finished.");
        }
        return finish(meaning.exit, meaning.name, meaning.state, message);
    }
    ExitCode fail(const char* what, const std::exception& error) {
        if (seam::stoppedByInterrupt()) return interrupted();
        return finish(exitForException(error), "failed", std::nullopt,
                      std::string(what) + ": " + error.what());
    }
    ExitCode interrupted() {
        return finish(kInterrupted, "interrupted", std::nullopt, interruptedMessage());
    }

private:
    // An emulated link's time follows the link model of the camera's connection type.
    static Progress::UsageClock usageClock(const DevicePlugin& plugin, CameraSession& camera) {
        if (plugin.table().virtual_time == 0) return {};
        const auto link = vxsim::linkPreset(connectionTypeOf(camera.handle()));
        if (!link) return {};
        return [link] {
            const seam::Totals& t = seam::totals();
            const uint64_t bytes = t.bytesSent + t.bytesReceived;
            return std::optional<Progress::LinkUsage>(
                Progress::LinkUsage{link->totalSeconds(t.exchanges, bytes), bytes});
        };
    }
    static std::string connectionTypeOf(vx_device_t* device) {
        vx_error* error = nullptr;
        vx_device_info* info = vx_device_get_device_info(device, &error);
        std::string type;
        if (error == nullptr) {
            const char* text = vx_device_info_get_connection_type(info, &error);
            if (error == nullptr && text != nullptr) type = text;
        }
        if (error != nullptr) vx_delete_error(error);
        error = nullptr;
        if (info != nullptr) vx_delete_device_info(info, &error);
        if (error != nullptr) vx_delete_error(error);
        return type;
    }

    CameraSession& camera_;
    bool modelled_;
    std::chrono::steady_clock::time_point start_;
    double seconds_ = 0.0;
};

void onUpgrade(VXUpgradeState state, const char* message, uint8_t percent, void* user) {
    auto* run = static_cast<Run*>(user);
    if (state == VX_UPGRADE_STATE_DEVICE_INSTALLING) run->installing = true;
    run->out.progress(
        state, upgradeState(state).name, message != nullptr ? message : "", percent,
        state == VX_UPGRADE_STATE_TRANSFERRING || state == VX_UPGRADE_STATE_VERIFYING);
}

// The flash callbacks carry no message; these say what each state means for a write or a read.
const char* flashMessage(VXDataTranState state, bool writing) {
    switch (state) {
        case VX_DATA_TRAN_STATE_TRANSFERRING:
            return writing ? "Writing flash" : "Reading flash";
        case VX_DATA_TRAN_STATE_VERIFYING:
            return "Reading back to verify";
        case VX_DATA_TRAN_STATE_VERIFY_DONE:
            return "Read-back matches";
        case VX_DATA_TRAN_STATE_DONE:
            return writing ? "Flash written" : "Flash read";
        case VX_DATA_TRAN_STATE_VERIFY_FAILED:
            return "Read-back differs from the data written";
        case VX_DATA_TRAN_STATE_FAILED:
            return "A flash request failed";
        default:
            return "";
    }
}

void onTransfer(Run& run, VXDataTranState state, int percent, bool writing) {
    run.out.progress(
        state, transferState(state).name, flashMessage(state, writing), percent,
        state == VX_DATA_TRAN_STATE_TRANSFERRING || state == VX_DATA_TRAN_STATE_VERIFYING);
}

// The update entry points report through the callback and an error object; the error's text is
// shown only when the callback did not already say it.
ExitCode finishUpgrade(Run& run, vx_error* error) {
    std::string errorText;
    if (error != nullptr) {
        const char* text = vx_error_get_message(error);
        errorText = text != nullptr ? text : "";
        vx_delete_error(error);
    }
    if (seam::stoppedByInterrupt()) return run.interrupted();
    if (!run.out.reported()) {
        return run.finish(error != nullptr ? kTransferFailed : kInternalError, "failed",
                          std::nullopt, "no progress reported " + errorText);
    }
    if (!errorText.empty() && oneLine(errorText) != run.out.lastMessage()) {
        std::fprintf(stderr, "vxfw: library error: %s\n", oneLine(errorText).c_str());
    }
    return run.finish(upgradeState(run.out.lastState(), run.installing), run.out.lastMessage());
}

// ---- Versions and dry runs ---------------------------------------------------------------------

struct UpdateOptions {
    bool dryRun = false;
    bool allowOlder = false;
    bool force = false;
};

// Where the camera's firmware version and the file's are both known (an L840 container names
// its own; a bootloader's version says nothing of the firmware), both are shown, and a downgrade
// or a reinstall is refused before anything is sent unless asked for, as firmware tools do.
std::optional<ExitCode> checkVersions(Run& run, vx_device_t* device, const Bytes& file,
                                      const UpdateOptions& options) {
    std::string fileVersion;
    try {
        fileVersion =
            libvxsensor::L840FirmwareParser(file.data(), static_cast<uint32_t>(file.size()))
                .firmwareVersion();
    } catch (const std::exception&) {
        return std::nullopt;  // not a container: the library's own checks speak for it
    }
    libvxsensor::LiveDevice camera(device);
    if (fileVersion.empty() || libvxsensor::isBootloader(camera.ids())) return std::nullopt;
    // Versions compare only for a file the camera takes: any other is the library's to refuse,
    // for its own reason. Its checks only read, and the dry-run gate makes sure of that.
    seam::setDryRun(true);
    const libvxsensor::Verdict verdict = libvxsensor::judgeFirmware(camera, file);
    seam::setDryRun(false);
    if (!verdict.accepted) return std::nullopt;
    // The library writes an ISP component only where the camera runs another ISP version: then
    // the camera does not hold the whole image, whatever its main version says. That is the
    // second run of an update begun in the bootloader, which left the ISP part for it.
    const bool ispMissing = std::any_of(
        verdict.writes.begin(), verdict.writes.end(), [](const libvxsensor::PlannedWrite& w) {
            return w.flash && libvxsensor::l840container::isIspAddress(w.where);
        });
    const std::string cameraVersion = camera.firmwareVersion();
    run.out.event({{"type", "firmware"}, {"camera", cameraVersion}, {"file", fileVersion}},
                  "Firmware: camera " + cameraVersion + ", file " + fileVersion);
    const int have = libvxsensor::getFirmwareVersionInt(cameraVersion);
    const int bring = libvxsensor::getFirmwareVersionInt(fileVersion);
    if (have == 0 || bring == 0) return std::nullopt;
    if (bring < have && !options.allowOlder) {
        return run.finish(kRefusedFile, "refused", std::nullopt,
                          "the file's firmware " + fileVersion + " is older than the camera's " +
                              cameraVersion + "; nothing was written (--allow-older installs it)");
    }
    if (bring == have && !options.force && !ispMissing) {
        return run.finish(kRefusedFile, "refused", std::nullopt,
                          "the camera already runs firmware " + cameraVersion +
                              "; nothing was written (--force installs it again)");
    }
    return std::nullopt;
}

// The writes a dry run found, and what they would take on the camera's link and the others.
void showPlan(Run& run, const std::vector<libvxsensor::PlannedWrite>& writes) {
    uint64_t exchanges = 0;
    uint64_t bytes = 0;
    Json list = Json::array();
    for (const libvxsensor::PlannedWrite& w : writes) {
        const auto cost =
            w.flash ? libvxsensor::VendorCommand::flashWriteCost(w.size, w.packetSize, w.readBack)
                    : libvxsensor::VendorCommand::rawDataWriteCost(w.size, w.packetSize);
        exchanges += cost.exchanges;
        bytes += cost.bytes;
        list.push_back({{"what", w.what},
                        {"flash", w.flash},
                        {"where", w.where},
                        {"size", w.size},
                        {"packetSize", w.packetSize},
                        {"readBack", w.readBack}});
        char text[192];
        if (w.flash) {
            std::snprintf(text, sizeof text,
                          "Would write %s: %u bytes at 0x%08X, %s, %u-byte packets", w.what.c_str(),
                          w.size, w.where, w.readBack ? "read back to verify" : "checked by CRC",
                          w.packetSize);
        } else {
            std::snprintf(text, sizeof text,
                          "Would send %s: %u bytes as raw-data object %u, %u-byte packets; the "
                          "camera installs it",
                          w.what.c_str(), w.size, w.where, w.packetSize);
        }
        if (!run.out.json()) run.out.event({}, text);
    }
    Json modelled = Json::object();
    std::string links;
    for (const vxsim::LinkModel& link : vxsim::linkPresets()) {
        const double seconds = link.totalSeconds(exchanges, bytes);
        modelled[link.name] = seconds;
        links += (links.empty() ? "" : ", ") + link.name + " " + formatDuration(seconds);
    }
    run.out.event({{"type", "plan"},
                   {"writes", list},
                   {"exchanges", exchanges},
                   {"bytes", bytes},
                   {"modelledSeconds", modelled}},
                  "Modelled time of the writes: " + links);
}

// A dry run's outcome: the exit status the real run would have had at its checks.
ExitCode finishDryRun(Run& run, const libvxsensor::Verdict& verdict) {
    if (const auto opcode = seam::dryRunStoppedAt()) {
        return run.finish(kInternalError, "dry run stopped", std::nullopt,
                          "a check tried to send request " + std::to_string(*opcode) +
                              ", which would change the camera; it was not sent");
    }
    if (!verdict.accepted) {
        const ExitCode exit = verdict.message == libvxsensor::firmwaremsg::kNothingToWrite
                                  ? kRefusedFile
                                  : upgradeState(verdict.state).exit;
        return run.finish(exit, "dry run: refused", verdict.state, verdict.message);
    }
    showPlan(run, verdict.writes);
    // An update that would only finish its first stage ends the dry run as it would the real
    // one, so a script plans the reboot either way.
    const StateMeaning end = upgradeState(verdict.state);
    return run.finish(end.exit, "dry run: accepted", verdict.state,
                      end.exit == kStageDone
                          ? "the checks passed; nothing was written; the update would finish its "
                            "first stage (then reboot the camera and run it again)"
                          : "the checks passed; nothing was written");
}

// ---- Operations -------------------------------------------------------------------------------

// The library ends the update of a container without components silently; a user must hear it.
bool holdsNothing(const Bytes& data) {
    try {
        return libvxsensor::L840FirmwareParser(data.data(), static_cast<uint32_t>(data.size()))
            .getFirmwareDataList()
            .empty();
    } catch (const std::exception&) {
        return false;
    }
}

ExitCode update(Run& run, vx_device_t* device, const std::string& path,
                const UpdateOptions& options) {
    Bytes file = readInput(path);
    if (const auto refused = checkVersions(run, device, file, options)) return *refused;
    if (options.dryRun) {
        seam::setDryRun(true);
        libvxsensor::LiveDevice camera(device);
        run.startTiming();
        const libvxsensor::Verdict verdict = libvxsensor::judgeFirmware(camera, file);
        run.stopTiming();
        return finishDryRun(run, verdict);
    }
    const bool empty = holdsNothing(file);
    file = Bytes();  // the library reads the file itself: one copy of an image at a time
    vx_error* error = nullptr;
    run.startTiming();
    vx_device_update_firmware_ext(device, path.c_str(), onUpgrade, false, &run, &error);
    run.stopTiming();
    if (!run.out.reported() && error == nullptr && empty) {
        return run.finish(kRefusedFile, "refused", std::nullopt,
                          libvxsensor::firmwaremsg::kNothingToWrite);
    }
    return finishUpgrade(run, error);
}

ExitCode presets(Run& run, vx_device_t* device, const std::vector<std::string>& paths,
                 bool dryRun) {
    if (paths.size() > UINT8_MAX) throw UsageError("at most 255 preset files");
    if (dryRun) {
        std::vector<std::vector<uint8_t>> files;
        files.reserve(paths.size());
        for (const std::string& path : paths) files.push_back(readInput(path));
        seam::setDryRun(true);
        libvxsensor::LiveDevice camera(device);
        run.startTiming();
        const libvxsensor::Verdict verdict = libvxsensor::judgePresets(camera, files);
        run.stopTiming();
        return finishDryRun(run, verdict);
    }
    // The library takes the paths in fixed slots, each zero-terminated.
    const auto slots = std::make_unique<char[][kPathSlot]>(paths.size());
    for (size_t i = 0; i < paths.size(); ++i) {
        if (paths[i].size() >= kPathSlot) {
            throw UsageError("path longer than 1023 bytes: " + paths[i]);
        }
        std::memcpy(slots[i], paths[i].c_str(), paths[i].size() + 1);
    }
    vx_error* error = nullptr;
    run.startTiming();
    vx_device_update_optional_depth_presets_ext(
        device, slots.get(), static_cast<uint8_t>(paths.size()), onUpgrade, &run, &error);
    run.stopTiming();
    return finishUpgrade(run, error);
}

ExitCode writeCustomerData(Run& run, vx_device_t* device, const std::string& path, bool dryRun) {
    const Bytes data = readInput(path);
    seam::setDryRun(dryRun);
    run.startTiming();
    try {
        vx_device_write_customer_data_ext(device, data.data(), static_cast<uint32_t>(data.size()));
    } catch (const std::exception& e) {
        run.stopTiming();
        // In a dry run, the first request that would write ends the call: every check before
        // it passed.
        if (dryRun && seam::dryRunStoppedAt()) {
            return run.finish(kOk, "dry run: accepted", std::nullopt,
                              "the checks passed; would write " + std::to_string(data.size()) +
                                  " bytes of customer data; nothing was written");
        }
        return run.fail("customer data not written", e);
    }
    run.stopTiming();
    return run.finish(kOk, "done", std::nullopt,
                      "wrote " + std::to_string(data.size()) + " bytes of customer data");
}

std::string hexDump(const Bytes& bytes) {
    std::string out;
    char text[24];
    for (size_t at = 0; at < bytes.size(); at += 16) {
        std::snprintf(text, sizeof text, "%04zx ", at);
        out += text;
        for (size_t i = at; i < at + 16 && i < bytes.size(); ++i) {
            std::snprintf(text, sizeof text, " %02x", bytes[i]);
            out += text;
        }
        out += '\n';
    }
    return out;
}

ExitCode readCustomerData(Run& run, vx_device_t* device, const std::string& output) {
    Bytes data(kCustomerDataBuffer);
    uint32_t size = kCustomerDataBuffer;
    run.startTiming();
    try {
        vx_device_read_customer_data_ext(device, data.data(), &size);
    } catch (const std::exception& e) {
        run.stopTiming();
        return run.fail("customer data not read", e);
    }
    run.stopTiming();
    data.resize(size);
    if (!output.empty()) {
        writeOutput(output, data);
    } else if (run.out.json()) {
        std::string hex;
        for (const uint8_t b : data) {
            char text[3];
            std::snprintf(text, sizeof text, "%02x", b);
            hex += text;
        }
        run.out.event({{"type", "data"}, {"hex", hex}}, "");
    } else {
        std::fputs(hexDump(data).c_str(), stdout);
    }
    return run.finish(kOk, "done", std::nullopt,
                      "read " + std::to_string(size) + " bytes of customer data");
}

void checkRange(uint32_t offset, uint64_t size) {
    if (size == 0) throw UsageError("nothing to transfer: the size is 0");
    if (uint64_t{offset} + size > uint64_t{1} << 32) {
        throw UsageError("the range passes the end of a 32-bit flash address space");
    }
}

ExitCode writeFlash(Run& run, vx_device_t* device, uint32_t offset, const std::string& path) {
    const Bytes data = readInput(path);
    checkRange(offset, data.size());
    run.startTiming();
    try {
        vx_device_write_flash(
            device, offset, data.data(), static_cast<uint32_t>(data.size()),
            [](VXDataTranState state, uint8_t percent, void* user) {
                onTransfer(*static_cast<Run*>(user), state, percent, true);
            },
            false, &run);
    } catch (const std::exception& e) {
        run.stopTiming();
        return run.fail("flash write", e);
    }
    run.stopTiming();
    const bool done = run.out.reported() && run.out.lastState() == VX_DATA_TRAN_STATE_DONE;
    char what[96];
    std::snprintf(what, sizeof what, "%zu bytes at 0x%08" PRIX32 ", verified by read-back",
                  data.size(), offset);
    return run.finish(
        transferState(run.out.reported() ? run.out.lastState() : VX_DATA_TRAN_STATE_FAILED),
        done ? what : "flash not written");
}

struct FlashRead {
    Run& run;
    Bytes data;
};

void onFlashRead(VXDataTranState state, VXDataChunk* chunk, void* user) {
    auto* read = static_cast<FlashRead*>(user);
    uint64_t reached = 0;
    if (chunk != nullptr) {
        reached = uint64_t{chunk->offset} + chunk->size;
        if (state == VX_DATA_TRAN_STATE_TRANSFERRING && chunk->data != nullptr &&
            reached <= read->data.size()) {
            std::memcpy(read->data.data() + chunk->offset, chunk->data, chunk->size);
        }
    }
    onTransfer(read->run, state,
               static_cast<int>(std::min<uint64_t>(reached * 100 / read->data.size(), 100)), false);
}

ExitCode readFlash(Run& run, vx_device_t* device, uint32_t offset, uint32_t size,
                   const std::string& output) {
    checkRange(offset, size);
    FlashRead read{run, Bytes(size)};
    run.startTiming();
    try {
        vx_device_read_flash(device, offset, size, onFlashRead, false, &read);
    } catch (const std::exception& e) {
        run.stopTiming();
        return run.fail("flash read", e);
    }
    run.stopTiming();
    const bool done = run.out.reported() && run.out.lastState() == VX_DATA_TRAN_STATE_DONE;
    if (done) writeOutput(output, read.data);
    char what[64];
    std::snprintf(what, sizeof what, "%" PRIu32 " bytes at 0x%08" PRIX32 " written to ", size,
                  offset);
    return run.finish(
        transferState(done ? VX_DATA_TRAN_STATE_DONE : VX_DATA_TRAN_STATE_FAILED),
        done ? what + (output == "-" ? std::string("standard output") : output) : "flash not read");
}

// ---- Running an operation -------------------------------------------------------------------

using Operation = std::function<ExitCode(Run&, vx_device_t*)>;

// A usage error or a fault of the tool ends the command; with --json its final line says so.
int endWith(const DeviceArgs& args, ExitCode exit, const std::string& message) {
    std::fflush(stdout);
    std::fprintf(stderr, "vxfw: %s\n", message.c_str());
    if (args.json) {
        printJsonLine({{"type", "result"},
                       {"result", exit == kInternalError ? "internal error" : "usage error"},
                       {"state", nullptr},
                       {"message", message},
                       {"exit", static_cast<int>(exit)}});
    }
    return exit;
}

// Opens the camera, runs the operation, closes the camera (a plugin that keeps state saves it
// then, interrupted or not).
int onDevice(const DeviceArgs& args, uint64_t totalBytes, const Operation& operation) {
    // Line by line, so the library's log lines on stderr fall between the right progress lines.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        catchSignals();
        seam::echoLog(args.verbose ? VX_LOG_SEVERITY_WARN : VX_LOG_SEVERITY_OFF);
        const ResolvedChoice choice = resolve(args.choice);
        if (choice.plugin->table().virtual_time != 0) libvxsensor::setSleepHook(skipSleep);
        CameraSession camera(*choice.plugin, choice.selector);
        Run run(args, *choice.plugin, camera, totalBytes);
        run.out.event({{"type", "camera"}, {"description", camera.describe()}},
                      "Camera: " + camera.describe());
        if (const std::string note = bootloaderNote(camera.handle()); !note.empty()) {
            run.out.event({{"type", "note"}, {"text", note}}, "Note: " + note + ".");
        }
        const ExitCode code = operation(run, camera.handle());
        camera.close();
        return code;
    } catch (const UsageError& e) {
        return endWith(args, kBadArguments, e.what());
    } catch (const std::bad_alloc&) {
        return endWith(args, kBadArguments, "not enough memory for this input");
    } catch (const std::exception& e) {
        return endWith(args, kInternalError, std::string("internal error: ") + e.what());
    }
}

uint64_t sizeOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : 0;
    return size > 0 ? static_cast<uint64_t>(size) : 0;
}

// The cameras a plugin can open, one a line (with --json, one object a line).
int listDevices(const DeviceArgs& args, bool emulator) {
    try {
        const std::unique_ptr<DevicePlugin> plugin =
            emulator ? DevicePlugin::loadEmulator() : resolve(args.choice).plugin;
        const std::vector<Listing> cameras = plugin->list();
        for (const Listing& c : cameras) {
            if (args.json) {
                printJsonLine({{"type", "device"},
                               {"selector", c.selector},
                               {"description", c.description},
                               {"vid", c.vid},
                               {"pid", c.pid},
                               {"connectionType", c.connectionType},
                               {"firmwareVersion", c.firmwareVersion}});
            } else {
                std::printf("%s\n", c.description.c_str());
            }
        }
        if (args.json) {
            printJsonLine({{"type", "result"},
                           {"result", "done"},
                           {"state", nullptr},
                           {"message", std::to_string(cameras.size()) + " cameras"},
                           {"exit", 0}});
        }
        return kOk;
    } catch (const UsageError& e) {
        return endWith(args, kBadArguments, e.what());
    }
}

// Everything the subcommands' options write to; lives as long as the application parses.
struct Args {
    DeviceArgs device;
    UpdateOptions update;
    std::string file;
    std::vector<std::string> files;
    std::string output;
    std::string offset;
    std::string size;
};

CLI::App* deviceCommand(CLI::App& parent, const char* name, const char* help, DeviceArgs& args) {
    CLI::App* command = parent.add_subcommand(name, help);
    addDeviceOptions(command, args);
    return command;
}

}  // namespace

void registerDeviceCommands(CLI::App& app, int& exitCode) {
    const auto a = std::make_shared<Args>();
    int* code = &exitCode;
    DeviceArgs& dev = a->device;

    CLI::App* updateCmd = deviceCommand(app, "update", "Update a camera's firmware from FILE", dev);
    updateCmd->add_option("FILE", a->file, "Firmware file")->required();
    updateCmd->add_flag("--dry-run", a->update.dryRun,
                        "Run every check against the camera and show what would be written; "
                        "send nothing that changes it");
    updateCmd->add_flag("--allow-older", a->update.allowOlder,
                        "Install a firmware older than the camera's");
    updateCmd->add_flag("--force", a->update.force, "Install the firmware the camera already runs");
    updateCmd->callback([a, code] {
        *code = onDevice(a->device, sizeOf(a->file),
                         [a](Run& r, vx_device_t* d) { return update(r, d, a->file, a->update); });
    });

    CLI::App* presetsCmd =
        deviceCommand(app, "presets", "Upload optional depth presets from FILE...", dev);
    presetsCmd->add_option("FILE", a->files, "Preset files")->required();
    presetsCmd->add_flag("--dry-run", a->update.dryRun,
                         "Run every check against the camera; send nothing that changes it");
    presetsCmd->callback([a, code] {
        uint64_t total = 0;
        for (const std::string& f : a->files) total += sizeOf(f);
        *code = onDevice(a->device, total, [a](Run& r, vx_device_t* d) {
            return presets(r, d, a->files, a->update.dryRun);
        });
    });

    CLI::App* customerCmd =
        app.add_subcommand("customer-data", "Read or write the customer-data area");
    customerCmd->require_subcommand(1);
    CLI::App* customerReadCmd =
        deviceCommand(*customerCmd, "read",
                      "Read the customer data (a hex dump without -o; -o - for raw bytes)", dev);
    customerReadCmd->add_option("-o,--output", a->output,
                                "File to write the data to, - for stdout");
    customerReadCmd->callback([a, code] {
        if (a->output == "-" && a->device.json) {
            *code = endWith(a->device, kBadArguments, "-o - and --json both want standard output");
            return;
        }
        a->device.dataOnStdout = a->output == "-";
        *code = onDevice(a->device, 0,
                         [a](Run& r, vx_device_t* d) { return readCustomerData(r, d, a->output); });
    });
    CLI::App* customerWriteCmd =
        deviceCommand(*customerCmd, "write", "Write FILE as the customer data", dev);
    customerWriteCmd->add_option("FILE", a->file, "Data file")->required();
    customerWriteCmd->add_flag("--dry-run", a->update.dryRun,
                               "Run every check against the camera; send nothing that changes it");
    customerWriteCmd->callback([a, code] {
        *code = onDevice(a->device, sizeOf(a->file), [a](Run& r, vx_device_t* d) {
            return writeCustomerData(r, d, a->file, a->update.dryRun);
        });
    });

    CLI::App* flashCmd =
        app.add_subcommand("flash", "Read or write raw flash (offsets decimal or 0x hex)");
    flashCmd->require_subcommand(1);
    CLI::App* flashReadCmd =
        deviceCommand(*flashCmd, "read", "Read SIZE bytes at OFFSET into a file", dev);
    flashReadCmd->add_option("OFFSET", a->offset, "Flash offset")->required()->check(kNumber);
    flashReadCmd->add_option("SIZE", a->size, "Bytes to read")->required()->check(kNumber);
    flashReadCmd->add_option("-o,--output", a->output, "File to write the data to, - for stdout")
        ->required();
    flashReadCmd->callback([a, code] {
        if (a->output == "-" && a->device.json) {
            *code = endWith(a->device, kBadArguments, "-o - and --json both want standard output");
            return;
        }
        a->device.dataOnStdout = a->output == "-";
        *code = onDevice(a->device, number(a->size), [a](Run& r, vx_device_t* d) {
            return readFlash(r, d, number(a->offset), number(a->size), a->output);
        });
    });
    CLI::App* flashWriteCmd =
        deviceCommand(*flashCmd, "write", "Write FILE at OFFSET, verified by read-back", dev);
    flashWriteCmd->add_option("OFFSET", a->offset, "Flash offset")->required()->check(kNumber);
    flashWriteCmd->add_option("FILE", a->file, "Data file")->required();
    flashWriteCmd->callback([a, code] {
        *code = onDevice(a->device, sizeOf(a->file), [a](Run& r, vx_device_t* d) {
            return writeFlash(r, d, number(a->offset), a->file);
        });
    });

    CLI::App* devicesCmd = app.add_subcommand("devices", "List the cameras the device plugin sees");
    devicesCmd->add_option("--device-plugin", dev.choice.plugin, "The device plugin");
    devicesCmd->add_flag("--json", dev.json, "JSON Lines on standard output");
    devicesCmd->callback([a, code] { *code = listDevices(a->device, false); });

    CLI::App* simCmd = app.add_subcommand("sim", "The camera emulator behind --sim");
    simCmd->require_subcommand(1);
    CLI::App* simListCmd = simCmd->add_subcommand("list", "List the emulated camera models");
    simListCmd->add_flag("--json", dev.json, "JSON Lines on standard output");
    simListCmd->callback([a, code] { *code = listDevices(a->device, true); });
}

}  // namespace vxfw
