// Each group of subcommands registers itself on the application; main() only parses and runs.
#pragma once

#include <CLI/CLI.hpp>

namespace vxfw {

// inspect, pack: work on files only; nothing is sent anywhere.
void registerFileCommands(CLI::App& app, int& exitCode);
// update, presets, customer-data, flash, sim: run the library's operations on a camera.
void registerDeviceCommands(CLI::App& app, int& exitCode);

}  // namespace vxfw
