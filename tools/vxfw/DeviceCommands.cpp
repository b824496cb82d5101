// vxfw update, presets, customer-data, flash and sim. Every operation goes through the library's
// exported C functions only, as an application's would.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include "firmware/FirmwareMessages.h"
#include "firmware/L840FirmwareParser.h"
#include "vxfw/Commands.h"
#include "vxfw/Device.h"
#include "vxfw/DeviceStates.h"
#include "vxfw/ExitCodes.h"
#include "vxfw/FileKinds.h"
#include "vxfw/Progress.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Models.h"

namespace vxfw {

namespace {

constexpr size_t kPathSlot = 1024;
// Larger than any camera's customer-data area, so the library's capacity check never bites.
constexpr uint32_t kCustomerDataBuffer = 64 * 1024;

struct DeviceArgs {
    std::string sim;
    bool verbose = false;
};

void addDeviceOptions(CLI::App* command, DeviceArgs& args) {
    command->add_option("--sim", args.sim,
                        "Work on an emulated camera: MODEL[,option=value...]; options conn, fw, "
                        "boot, flash, isp, saveinfo, fault=TARGET[@N]:KIND[:VALUE], disappear=N, "
                        "link=usb2|usb3|gmsl2|ethernet, install=ok|fail|never, state=FILE");
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

std::vector<uint8_t> readInput(const std::string& path) {
    Bytes bytes;
    std::string error;
    if (!readWholeFile(path, bytes, error)) throw UsageError("cannot read " + path + ": " + error);
    return bytes;
}

void writeOutput(const std::string& path, const std::vector<uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file.write(reinterpret_cast<const char*>(bytes.data()),
                    static_cast<std::streamsize>(bytes.size()))) {
        throw UsageError("cannot write " + path);
    }
}

uint64_t sizeOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? static_cast<std::streamoff>(file.tellg()) : 0;
    return size > 0 ? static_cast<uint64_t>(size) : 0;
}

// One operation on one camera: what its callbacks share, and how it ends.
class Run {
public:
    Run(DeviceSource& source, uint64_t totalBytes)
        : progress(
              stdout, isatty(fileno(stdout)) != 0, [&source] { return source.usage(); },
              totalBytes) {}

    Progress progress;
    bool installing = false;

    // Prints the result line and returns its exit status.
    ExitCode finish(const StateMeaning& meaning, const std::string& message) {
        progress.end();
        std::printf("Result: %s (%d): %s\n", meaning.name, meaning.state, oneLine(message).c_str());
        return meaning.exit;
    }
    // A refusal of the tool's own, where the library had nothing to say.
    ExitCode refuse(const char* why) {
        progress.end();
        std::printf("Result: refused: %s\n", why);
        return kRefusedFile;
    }
    ExitCode fail(const char* what, const std::exception& error) {
        progress.end();
        std::printf("Result: failed: %s: %s\n", what, oneLine(error.what()).c_str());
        return exitForException(error);
    }
};

void onUpgrade(VXUpgradeState state, const char* message, uint8_t percent, void* user) {
    auto* run = static_cast<Run*>(user);
    if (state == VX_UPGRADE_STATE_DEVICE_INSTALLING) run->installing = true;
    run->progress.report(
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
    run.progress.report(
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
    if (!run.progress.reported()) {
        run.progress.end();
        std::printf("Result: no progress reported%s%s\n", errorText.empty() ? "" : ": ",
                    oneLine(errorText).c_str());
        return error != nullptr ? kTransferFailed : kInternalError;
    }
    const ExitCode code =
        run.finish(upgradeState(run.progress.state(), run.installing), run.progress.message());
    if (!errorText.empty() && oneLine(errorText) != run.progress.message()) {
        std::printf("Library error: %s\n", oneLine(errorText).c_str());
    }
    return code;
}

// The library ends the update of a container without components silently; a user must hear it.
bool holdsNothing(const std::string& path) {
    Bytes data;
    std::string error;
    if (!readWholeFile(path, data, error)) return false;
    try {
        return libvxsensor::L840FirmwareParser(data.data(), static_cast<uint32_t>(data.size()))
            .getFirmwareDataList()
            .empty();
    } catch (const std::exception&) {
        return false;
    }
}

ExitCode update(DeviceSource& source, vx_device_t* device, const std::string& path) {
    Run run(source, sizeOf(path));
    vx_error* error = nullptr;
    const auto start = std::chrono::steady_clock::now();
    vx_device_update_firmware_ext(device, path.c_str(), onUpgrade, false, &run, &error);
    const double seconds = secondsSince(start);
    const ExitCode code = !run.progress.reported() && error == nullptr && holdsNothing(path)
                              ? run.refuse(libvxsensor::firmwaremsg::kNothingToWrite)
                              : finishUpgrade(run, error);
    source.report(stdout, seconds);
    return code;
}

ExitCode presets(DeviceSource& source, vx_device_t* device, const std::vector<std::string>& paths) {
    if (paths.size() > UINT8_MAX) throw UsageError("at most 255 preset files");
    // The library takes the paths in fixed slots, each zero-terminated.
    const auto slots = std::make_unique<char[][kPathSlot]>(paths.size());
    uint64_t total = 0;
    for (size_t i = 0; i < paths.size(); ++i) {
        if (paths[i].size() >= kPathSlot)
            throw UsageError("path longer than 1023 bytes: " + paths[i]);
        std::memcpy(slots[i], paths[i].c_str(), paths[i].size() + 1);
        total += sizeOf(paths[i]);
    }
    Run run(source, total);
    vx_error* error = nullptr;
    const auto start = std::chrono::steady_clock::now();
    vx_device_update_optional_depth_presets_ext(
        device, slots.get(), static_cast<uint8_t>(paths.size()), onUpgrade, &run, &error);
    const double seconds = secondsSince(start);
    const ExitCode code = finishUpgrade(run, error);
    source.report(stdout, seconds);
    return code;
}

ExitCode writeCustomerData(DeviceSource& source, vx_device_t* device, const std::string& path) {
    const std::vector<uint8_t> data = readInput(path);
    Run run(source, data.size());
    try {
        vx_device_write_customer_data_ext(device, data.data(), static_cast<uint32_t>(data.size()));
    } catch (const std::exception& e) {
        return run.fail("customer data not written", e);
    }
    std::printf("Result: done: wrote %zu bytes of customer data\n", data.size());
    return kOk;
}

void hexDump(const std::vector<uint8_t>& bytes) {
    for (size_t at = 0; at < bytes.size(); at += 16) {
        std::printf("%04zx ", at);
        for (size_t i = at; i < at + 16 && i < bytes.size(); ++i) std::printf(" %02x", bytes[i]);
        std::putchar('\n');
    }
}

ExitCode readCustomerData(DeviceSource& source, vx_device_t* device, const std::string& output) {
    std::vector<uint8_t> data(kCustomerDataBuffer);
    uint32_t size = kCustomerDataBuffer;
    Run run(source, 0);
    try {
        vx_device_read_customer_data_ext(device, data.data(), &size);
    } catch (const std::exception& e) {
        return run.fail("customer data not read", e);
    }
    data.resize(size);
    if (output.empty()) {
        hexDump(data);
    } else {
        writeOutput(output, data);
    }
    std::printf("Result: done: read %" PRIu32 " bytes of customer data\n", size);
    return kOk;
}

void checkRange(uint32_t offset, uint64_t size) {
    if (size == 0) throw UsageError("nothing to transfer: the size is 0");
    if (uint64_t{offset} + size > uint64_t{1} << 32)
        throw UsageError("the range passes the end of a 32-bit flash address space");
}

ExitCode writeFlash(DeviceSource& source, vx_device_t* device, uint32_t offset,
                    const std::string& path) {
    const std::vector<uint8_t> data = readInput(path);
    checkRange(offset, data.size());
    Run run(source, data.size());
    const auto start = std::chrono::steady_clock::now();
    ExitCode code = kOk;
    try {
        vx_device_write_flash(
            device, offset, data.data(), static_cast<uint32_t>(data.size()),
            [](VXDataTranState state, uint8_t percent, void* user) {
                onTransfer(*static_cast<Run*>(user), state, percent, true);
            },
            false, &run);
        char what[96];
        std::snprintf(what, sizeof what, "%zu bytes at 0x%08" PRIX32 ", verified by read-back",
                      data.size(), offset);
        code = run.finish(
            transferState(run.progress.reported() ? run.progress.state()
                                                  : VX_DATA_TRAN_STATE_FAILED),
            run.progress.state() == VX_DATA_TRAN_STATE_DONE ? what : "flash not written");
    } catch (const std::exception& e) {
        code = run.fail("flash write", e);
    }
    source.report(stdout, secondsSince(start));
    return code;
}

struct FlashRead {
    explicit FlashRead(DeviceSource& source, uint32_t size) : run(source, size), data(size) {}
    Run run;
    std::vector<uint8_t> data;
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

ExitCode readFlash(DeviceSource& source, vx_device_t* device, uint32_t offset, uint32_t size,
                   const std::string& output) {
    checkRange(offset, size);
    FlashRead read(source, size);
    try {
        vx_device_read_flash(device, offset, size, onFlashRead, false, &read);
    } catch (const std::exception& e) {
        return read.run.fail("flash read", e);
    }
    const bool done =
        read.run.progress.reported() && read.run.progress.state() == VX_DATA_TRAN_STATE_DONE;
    if (done) writeOutput(output, read.data);
    char what[64];
    std::snprintf(what, sizeof what, "%" PRIu32 " bytes at 0x%08" PRIX32 " written to ", size,
                  offset);
    return read.run.finish(
        transferState(done ? VX_DATA_TRAN_STATE_DONE : VX_DATA_TRAN_STATE_FAILED),
        done ? what + output : "flash not read");
}

using Operation = std::function<ExitCode(DeviceSource&, vx_device_t*)>;

// Opens the camera, runs the operation, closes the camera; usage errors become exit status 2.
int onDevice(const DeviceArgs& args, const Operation& operation) {
    // Line by line, so the library's log lines on stderr fall between the right progress lines.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        const std::unique_ptr<DeviceSource> source = makeDeviceSource(args.sim, args.verbose);
        vx_device_t* device = source->open();
        std::printf("Camera: %s\n", source->describe().c_str());
        const ExitCode code = operation(*source, device);
        source->close();
        std::fflush(stdout);
        return code;
    } catch (const UsageError& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "vxfw: %s\n", e.what());
        return kBadArguments;
    } catch (const std::bad_alloc&) {
        std::fflush(stdout);
        std::fprintf(stderr, "vxfw: not enough memory for this input\n");
        return kBadArguments;
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "vxfw: internal error: %s\n", e.what());
        return kInternalError;
    }
}

// Everything the subcommands' options write to; lives as long as the application parses.
struct Args {
    DeviceArgs device;
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
    updateCmd->callback([a, code] {
        *code = onDevice(a->device,
                         [a](DeviceSource& s, vx_device_t* d) { return update(s, d, a->file); });
    });

    CLI::App* presetsCmd =
        deviceCommand(app, "presets", "Upload optional depth presets from FILE...", dev);
    presetsCmd->add_option("FILE", a->files, "Preset files")->required();
    presetsCmd->callback([a, code] {
        *code = onDevice(a->device,
                         [a](DeviceSource& s, vx_device_t* d) { return presets(s, d, a->files); });
    });

    CLI::App* customerCmd =
        app.add_subcommand("customer-data", "Read or write the customer-data area");
    customerCmd->require_subcommand(1);
    CLI::App* customerReadCmd =
        deviceCommand(*customerCmd, "read", "Read the customer data (hex dump without -o)", dev);
    customerReadCmd->add_option("-o,--output", a->output, "File to write the data to");
    customerReadCmd->callback([a, code] {
        *code = onDevice(a->device, [a](DeviceSource& s, vx_device_t* d) {
            return readCustomerData(s, d, a->output);
        });
    });
    CLI::App* customerWriteCmd =
        deviceCommand(*customerCmd, "write", "Write FILE as the customer data", dev);
    customerWriteCmd->add_option("FILE", a->file, "Data file")->required();
    customerWriteCmd->callback([a, code] {
        *code = onDevice(a->device, [a](DeviceSource& s, vx_device_t* d) {
            return writeCustomerData(s, d, a->file);
        });
    });

    CLI::App* flashCmd =
        app.add_subcommand("flash", "Read or write raw flash (offsets decimal or 0x hex)");
    flashCmd->require_subcommand(1);
    CLI::App* flashReadCmd =
        deviceCommand(*flashCmd, "read", "Read SIZE bytes at OFFSET into a file", dev);
    flashReadCmd->add_option("OFFSET", a->offset, "Flash offset")->required()->check(kNumber);
    flashReadCmd->add_option("SIZE", a->size, "Bytes to read")->required()->check(kNumber);
    flashReadCmd->add_option("-o,--output", a->output, "File to write the data to")->required();
    flashReadCmd->callback([a, code] {
        *code = onDevice(a->device, [a](DeviceSource& s, vx_device_t* d) {
            return readFlash(s, d, number(a->offset), number(a->size), a->output);
        });
    });
    CLI::App* flashWriteCmd =
        deviceCommand(*flashCmd, "write", "Write FILE at OFFSET, verified by read-back", dev);
    flashWriteCmd->add_option("OFFSET", a->offset, "Flash offset")->required()->check(kNumber);
    flashWriteCmd->add_option("FILE", a->file, "Data file")->required();
    flashWriteCmd->callback([a, code] {
        *code = onDevice(a->device, [a](DeviceSource& s, vx_device_t* d) {
            return writeFlash(s, d, number(a->offset), a->file);
        });
    });

    CLI::App* simCmd = app.add_subcommand("sim", "The camera emulator behind --sim");
    simCmd->require_subcommand(1);
    simCmd->add_subcommand("list", "List the emulated camera models, one a line")->callback([code] {
        for (const std::string& line : vxsim::modelDescriptions())
            std::printf("%s\n", line.c_str());
        *code = kOk;
    });
}

}  // namespace vxfw
