// vxfw --record TRACE and --replay TRACE (docs/trace-format.md). Recording puts the recorder
// between the host seam and the device plugin's host, and writes the trace when the command
// ends, with the command line, the files it read and its outcome; replaying makes the device
// source the trace itself (the emulator's replay plugin), whatever the command line names.
// `vxfw replay TRACE` runs the recorded command again against its trace and judges the run.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "vxfw/Plugin.h"
#include "vxsensor/vx_device_plugin.h"
#include "vxtrace/Trace.h"

namespace vxfw::tracing {

void recordTo(const std::string& path);
void replayFrom(const std::string& path);
bool replaying();

// The host the seam forwards to: the plugin's, or the recorder in front of it.
const vx_host_functions* hostFor(const vx_device_plugin& plugin);
// The replay source for the trace, its device groups registered. UsageError when it cannot.
ResolvedChoice replaySource();
void deviceGroup(uint16_t group, const uint8_t* records, uint32_t size);
void cameraOpened(const std::string& description);
// Takes the replay camera's verdict before the plugin forgets it.
void cameraClosing(const DevicePlugin& plugin, vx_device_t* device);

// What the user saw: each callback, and the result.
void progress(int state, const std::string& message, int percent);
void result(int exit, const std::string& result, std::optional<int> state,
            const std::string& message, bool json);

// After the command: writes the trace, or judges the replay. Returns the exit status to end
// with. `args` are vxfw's arguments without the program name.
int finish(const CLI::App& app, const std::vector<std::string>& args, int exitCode);

// What the last command said, ending with `exitCode` (its callbacks as runs of one state and
// message), and whether its replay matched, for `vxfw replay`.
struct RunSeen {
    vxtrace::Outcome outcome;
    std::optional<bool> matched;
    std::string report;
};
RunSeen lastRun(int exitCode);

// vxfw replay TRACE
void registerReplayCommand(CLI::App& app, int& exitCode);

}  // namespace vxfw::tracing
