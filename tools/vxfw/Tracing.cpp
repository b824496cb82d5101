// Recording vxfw's conversation with a camera, and running a recorded command again against it.
#include "vxfw/Tracing.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/Sleep.h"
#include "vxfw/Commands.h"
#include "vxfw/ExitCodes.h"
#include "vxfw/FileKinds.h"
#include "vxfw/Output.h"
#include "vxsensor/vx_extension.h"
#include "vxtrace/Recorder.h"

namespace vxfw::tracing {

namespace {

using vxtrace::Callback;
using vxtrace::Outcome;

constexpr char kReplayEntry[] = "vxsim_replay_plugin_entry";
constexpr char kReplayMatched[] = "vxsim_replay_matched";

struct State {
    std::string recordPath;
    std::string replayPath;
    // Lives as long as the process: the seam forwards to its host functions.
    std::unique_ptr<vxtrace::Recorder> recorder;
    std::string source;
    bool virtualTime = false;
    std::vector<Callback> callbacks;
    std::optional<Outcome> outcome;
    bool json = false;
    std::optional<bool> replayMatched;
    std::string replayReport;
};

State& state() {
    static State s;
    return s;
}

// The files a parsed command reads (FILE arguments) and writes (-o, --output).
void fileArguments(const CLI::App& app, std::vector<std::string>& inputs,
                   std::vector<std::string>& outputs) {
    for (const CLI::App* command : app.get_subcommands()) {
        for (const CLI::Option* option : command->get_options()) {
            std::vector<std::string>& into = option->get_name() == "FILE" ? inputs : outputs;
            if (option->get_name() == "FILE" || option->check_lname("output")) {
                into.insert(into.end(), option->results().begin(), option->results().end());
            }
        }
        fileArguments(*command, inputs, outputs);
    }
}

// The command line after vxfw's global options, its input files carried along.
nlohmann::ordered_json recordedCommand(const CLI::App& app, const std::vector<std::string>& args,
                                       std::vector<vxtrace::EmbeddedFile>& files) {
    std::vector<std::string> inputs;
    std::vector<std::string> outputs;
    fileArguments(app, inputs, outputs);
    size_t at = 0;
    while (at < args.size() && (args[at] == "--record" || args[at] == "--replay")) at += 2;
    std::vector<std::string> paths;
    nlohmann::ordered_json command = nlohmann::ordered_json::array();
    for (; at < args.size(); ++at) {
        const std::string& arg = args[at];
        const bool input = std::find(inputs.begin(), inputs.end(), arg) != inputs.end();
        const bool output = std::find(outputs.begin(), outputs.end(), arg) != outputs.end();
        Bytes bytes;
        std::string error;
        if (output && arg != "-") {
            command.push_back({{"output", arg}});
        } else if (input && readWholeFile(arg, bytes, error)) {
            const auto known = std::find(paths.begin(), paths.end(), arg);
            if (known == paths.end()) {
                paths.push_back(arg);
                const bool carried = bytes.size() <= vxtrace::kCarriedFileLimit;
                files.push_back({arg, std::move(bytes), carried, 0, {}});
            }
            command.push_back(
                {{"file", std::find(paths.begin(), paths.end(), arg) - paths.begin()}});
        } else {
            command.push_back(arg);
        }
    }
    return command;
}

int writeTrace(const CLI::App& app, const std::vector<std::string>& args, int exitCode) {
    State& s = state();
    if (!s.recorder || s.source.empty()) {
        std::fprintf(stderr, "vxfw: --record: the command opened no camera; no trace written\n");
        return exitCode;
    }
    vxtrace::Header header;
    header.library = vx_get_commit_hash();
    header.tool = "vxfw " VXFW_VERSION;
    header.date = vxtrace::utcNow();
    header.source = s.source;
    header.virtualTime = s.virtualTime;
    header.outcome = lastRun(exitCode).outcome;
    std::vector<vxtrace::EmbeddedFile> files;
    header.command = recordedCommand(app, args, files);
    try {
        s.recorder->finish(header, files);
    } catch (const vxtrace::TraceError& e) {
        std::fprintf(stderr, "vxfw: %s\n", e.what());
        return kBadArguments;
    }
    return exitCode;
}

}  // namespace

void recordTo(const std::string& path) {
    state().recordPath = path;
}

void replayFrom(const std::string& path) {
    State& s = state();
    s.replayPath = path;
    s.replayMatched.reset();
    s.replayReport.clear();
    s.callbacks.clear();
    s.outcome.reset();
}

bool replaying() {
    return !state().replayPath.empty();
}

const vx_host_functions* hostFor(const vx_device_plugin& plugin) {
    State& s = state();
    s.virtualTime = plugin.virtual_time != 0;
    if (s.recordPath.empty()) return plugin.host;
    if (!s.recorder) {
        try {
            s.recorder = std::make_unique<vxtrace::Recorder>(*plugin.host, s.recordPath);
        } catch (const vxtrace::TraceError& e) {
            throw UsageError(e.what());
        }
    }
    return &s.recorder->host();
}

ResolvedChoice replaySource() {
    const std::string& path = state().replayPath;
    vxtrace::Header header;
    try {
        header = vxtrace::readTrace(path).header;
    } catch (const vxtrace::TraceError& e) {
        throw UsageError(e.what());
    }
    // The recorded camera's pauses are over: a replay takes none, whatever the source was.
    libvxsensor::setSleepHook([](uint32_t) {});
    std::unique_ptr<DevicePlugin> plugin =
        DevicePlugin::loadEmulator(kReplayEntry, header.virtualTime);
    for (const auto& [group, records] : header.deviceGroups) {
        vx_error* error = nullptr;
        vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                &error);
        if (error != nullptr) {
            const std::string why = vx_error_get_message(error);
            vx_delete_error(error);
            throw UsageError(
                std::string(path).append(": its device groups are refused: ").append(why));
        }
    }
    return {std::move(plugin), path};
}

void deviceGroup(uint16_t group, const uint8_t* records, uint32_t size) {
    if (state().recorder) state().recorder->deviceGroup(group, records, size);
}

void cameraOpened(const std::string& description) {
    state().source = description;
}

void cameraClosing(const DevicePlugin& plugin, vx_device_t* device) {
    State& s = state();
    if (s.replayPath.empty()) return;
    using Matched = int (*)(vx_device_t*);
    const auto matched = reinterpret_cast<Matched>(plugin.symbol(kReplayMatched));
    if (matched == nullptr) return;
    s.replayMatched = matched(device) != 0;
    const char* report = plugin.table().report(device);
    s.replayReport = report != nullptr ? report : "";
}

void progress(int state, const std::string& message, int percent) {
    std::vector<Callback>& runs = tracing::state().callbacks;
    if (!runs.empty() && runs.back().state == state && runs.back().message == message) {
        runs.back().percent = percent;
    } else {
        runs.push_back({state, message, percent});
    }
}

void result(int exit, const std::string& result, std::optional<int> state,
            const std::string& message, bool json) {
    tracing::state().outcome = Outcome{exit, result, state, message, {}};
    tracing::state().json = json;
}

RunSeen lastRun(int exitCode) {
    const State& s = state();
    // A command that ended before its result (a usage error) still has an exit status.
    RunSeen seen{s.outcome.value_or(Outcome{exitCode, "no result", std::nullopt, "", {}}),
                 s.replayMatched, s.replayReport};
    seen.outcome.exit = exitCode;
    seen.outcome.callbacks = s.callbacks;
    return seen;
}

int finish(const CLI::App& app, const std::vector<std::string>& args, int exitCode) {
    State& s = state();
    if (!s.recordPath.empty()) exitCode = writeTrace(app, args, exitCode);
    if (!s.replayPath.empty() && s.replayMatched && !*s.replayMatched) {
        // Text output showed the report with the result; JSON Lines have no place for it.
        std::fprintf(stderr, "vxfw: the run diverged from trace %s%s\n", s.replayPath.c_str(),
                     s.json ? (":\n" + s.replayReport).c_str() : "");
        return kReplayDiverged;
    }
    return exitCode;
}

}  // namespace vxfw::tracing
