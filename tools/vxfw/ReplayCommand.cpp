// vxfw replay TRACE: the recorded command once more, its files taken from the trace and its
// camera the trace itself, then a verdict: a match when the library made the recorded host calls
// in order and the run showed the recorded callbacks, result and exit status.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "vxfw/Commands.h"
#include "vxfw/ExitCodes.h"
#include "vxfw/FileKinds.h"
#include "vxfw/Output.h"
#include "vxfw/Progress.h"
#include "vxfw/Tracing.h"

namespace vxfw::tracing {

namespace {

namespace fs = std::filesystem;
using vxtrace::Callback;
using vxtrace::Outcome;

// A scratch directory for the command's files, gone when the replay ends.
class ScratchDir {
public:
    ScratchDir() {
        std::string name = (fs::temp_directory_path() / "vxfw-replay-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw UsageError("cannot make a scratch directory");
        path_ = name;
    }
    ~ScratchDir() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

struct Command {
    std::vector<std::string> args;
    // Paths of this run and what the recorded run called them, for comparing messages.
    std::vector<std::pair<std::string, std::string>> renamed;
    bool json = false;
};

// A file the trace names but does not carry: as the recorded command named it, or beside the
// trace; it must be the very file.
std::string findFile(const vxtrace::EmbeddedFile& file, const std::string& tracePath) {
    const std::string beside =
        (fs::path(tracePath).parent_path() / fs::path(file.name).filename()).string();
    for (const std::string& candidate : {file.name, beside}) {
        Bytes bytes;
        std::string error;
        if (readWholeFile(candidate, bytes, error) && bytes.size() == file.size &&
            vxtrace::fileChecksum(bytes) == file.checksum) {
            return candidate;
        }
    }
    throw UsageError("the trace does not carry " + file.name + " (" + std::to_string(file.size) +
                     " bytes, checksum " + file.checksum +
                     "): put that file where the command found it, or beside the trace");
}

// The recorded command line, each file it read written into the scratch directory (or found
// again, when the trace does not carry it).
Command prepare(const vxtrace::Trace& trace, const std::string& tracePath, const fs::path& dir) {
    Command c;
    for (const auto& arg : trace.header.command) {
        if (arg.is_string()) {
            c.args.push_back(arg.get<std::string>());
            c.json = c.json || c.args.back() == "--json";
            continue;
        }
        const bool input = arg.contains("file") && arg["file"].is_number_unsigned() &&
                           arg["file"].get<size_t>() < trace.files.size();
        if (!input && !(arg.contains("output") && arg["output"].is_string())) {
            throw UsageError(
                "the trace's command line holds an argument that is neither a "
                "text nor one of its files");
        }
        const vxtrace::EmbeddedFile* file =
            input ? &trace.files[arg["file"].get<size_t>()] : nullptr;
        const std::string recorded = input ? file->name : arg["output"].get<std::string>();
        std::string path = (dir / ((input ? "in-" : "out-") + std::to_string(c.args.size()) + "-" +
                                   fs::path(recorded).filename().string()))
                               .string();
        std::string error;
        if (input && !file->carried) {
            path = findFile(*file, tracePath);
        } else if (input && !writeWholeFile(path, file->bytes, error)) {
            throw UsageError(std::string("cannot write ").append(path).append(": ").append(error));
        }
        c.args.push_back(path);
        c.renamed.emplace_back(path, recorded);
    }
    if (c.args.empty()) throw UsageError("the trace's command line is empty");
    return c;
}

int runCommand(const std::vector<std::string>& args) {
    CLI::App app{"vxfw"};
    app.require_subcommand(1);
    int exitCode = kOk;
    registerFileCommands(app, exitCode);
    registerDeviceCommands(app, exitCode);
    std::vector<std::string> reversed(args.rbegin(), args.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return kBadArguments;
    }
    return exitCode;
}

std::string callbackText(const Callback& c) {
    return std::to_string(c.state) + " \"" + oneLine(c.message) + "\" " +
           std::to_string(c.percent) + "%";
}

// How the run differs from the recorded one, one line each; empty when it does not.
std::vector<std::string> differences(
    const Outcome& recorded, Outcome seen,
    const std::vector<std::pair<std::string, std::string>>& renamed) {
    for (const auto& [path, name] : renamed) {
        for (size_t at; (at = seen.message.find(path)) != std::string::npos;) {
            seen.message.replace(at, path.size(), name);
        }
    }
    std::vector<std::string> out;
    const auto state = [](std::optional<int> s) { return s ? std::to_string(*s) : "none"; };
    if (seen.exit != recorded.exit) {
        out.push_back("exit status " + std::to_string(seen.exit) + ", recorded " +
                      std::to_string(recorded.exit));
    }
    if (seen.result != recorded.result || seen.state != recorded.state) {
        out.push_back("result " + seen.result + " (" + state(seen.state) + "), recorded " +
                      recorded.result + " (" + state(recorded.state) + ")");
    }
    if (seen.message != recorded.message) {
        out.push_back("message \"" + oneLine(seen.message) + "\", recorded \"" +
                      oneLine(recorded.message) + "\"");
    }
    const size_t n = std::min(seen.callbacks.size(), recorded.callbacks.size());
    for (size_t i = 0; i < n; ++i) {
        const Callback& a = seen.callbacks[i];
        const Callback& b = recorded.callbacks[i];
        if (a.state != b.state || a.message != b.message || a.percent != b.percent) {
            out.push_back("callback " + std::to_string(i + 1) + ": " + callbackText(a) +
                          ", recorded " + callbackText(b));
            return out;
        }
    }
    if (seen.callbacks.size() != recorded.callbacks.size()) {
        out.push_back(std::to_string(seen.callbacks.size()) + " callbacks (as runs of one state " +
                      "and message), recorded " + std::to_string(recorded.callbacks.size()));
    }
    return out;
}

int judge(const vxtrace::Trace& trace, const Command& command, int exitCode) {
    const RunSeen seen = lastRun(exitCode);
    std::vector<std::string> problems;
    if (!seen.matched) {
        problems.push_back("no replay camera was opened");
    } else if (!*seen.matched) {
        problems.push_back(seen.report);
    }
    const Outcome recorded = trace.header.outcome.value_or(Outcome{});
    const std::vector<std::string> more = differences(recorded, seen.outcome, command.renamed);
    problems.insert(problems.end(), more.begin(), more.end());
    std::string message;
    if (problems.empty()) {
        message = "the " + std::to_string(trace.entries.size()) +
                  " recorded host calls in order; the recorded callbacks, result and exit " +
                  "status (" + std::to_string(recorded.exit) + ")";
    } else {
        for (const std::string& p : problems) message += (message.empty() ? "" : "\n") + p;
    }
    const ExitCode exit = problems.empty() ? kOk : kReplayDiverged;
    const char* verdict = problems.empty() ? "match" : "divergence";
    if (command.json) {
        printJsonLine({{"type", "result"},
                       {"result", verdict},
                       {"state", nullptr},
                       {"message", message},
                       {"exit", static_cast<int>(exit)}});
    } else {
        std::printf("Replay: %s: %s\n", verdict, message.c_str());
    }
    return exit;
}

int replay(const std::string& path) {
    vxtrace::Trace trace;
    try {
        trace = vxtrace::readTrace(path);
    } catch (const vxtrace::TraceError& e) {
        std::fprintf(stderr, "vxfw: %s\n", e.what());
        return kBadArguments;
    }
    if (!trace.header.command.is_array()) {
        std::fprintf(stderr,
                     "vxfw: %s was recorded by %s, which is not vxfw: run a vxfw command on it "
                     "with --replay, or the program itself against a vxsim::ReplayCamera\n",
                     path.c_str(), trace.header.tool.c_str());
        return kBadArguments;
    }
    try {
        const ScratchDir dir;
        const Command command = prepare(trace, path, dir.path());
        replayFrom(path);
        const int exitCode = runCommand(command.args);
        const int verdict = judge(trace, command, exitCode);
        replayFrom("");
        return verdict;
    } catch (const UsageError& e) {
        std::fprintf(stderr, "vxfw: %s\n", e.what());
        return kBadArguments;
    }
}

}  // namespace

void registerReplayCommand(CLI::App& app, int& exitCode) {
    const auto path = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand(
        "replay",
        "Run the command recorded in TRACE (vxfw --record) again against the trace: a match "
        "when the same host calls, callbacks, result and exit status come back (exit 0), a "
        "divergence otherwise (exit 9)");
    command->add_option("TRACE", *path, "A trace that vxfw --record wrote")->required();
    int* code = &exitCode;
    command->callback([path, code] { *code = replay(*path); });
}

}  // namespace vxfw::tracing
