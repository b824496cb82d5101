// vxfw: the command-line face of libvxsensor_ext.
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "vxfw/Commands.h"
#include "vxfw/ExitCodes.h"
#include "vxfw/Tracing.h"
#include "vxsensor/vx_extension.h"

namespace {

// CLI11 calls a misspelt command an unexpected argument; people want to hear which command
// does not exist, and which do.
bool unknownCommand(const CLI::App& app, const char* first) {
    if (first == nullptr || first[0] == '-') return false;
    std::string known;
    for (const CLI::App* command : app.get_subcommands({})) {
        if (command->get_name() == first) return false;
        known += (known.empty() ? "" : ", ") + command->get_name();
    }
    std::fprintf(stderr, "vxfw: unknown command '%s' (commands: %s; vxfw --help tells more)\n",
                 first, known.c_str());
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "vxfw: check firmware and preset files, and update cameras through libvxsensor_ext"};
    app.set_version_flag(
        "--version",
        std::string("vxfw " VXFW_VERSION " (libvxsensor_ext commit ") + vx_get_commit_hash() + ")");
    app.require_subcommand(1);
    app.add_option_function<std::string>(
        "--record", vxfw::tracing::recordTo,
        "Record the command's conversation with the camera into TRACE (before the command)");
    app.add_option_function<std::string>(
        "--replay", vxfw::tracing::replayFrom,
        "Take the camera from TRACE, strictly in order (before the command); exit 9 when the "
        "library's host calls differ from the recorded ones");
    int exitCode = vxfw::kOk;
    vxfw::registerFileCommands(app, exitCode);
    vxfw::registerDeviceCommands(app, exitCode);
    vxfw::tracing::registerReplayCommand(app, exitCode);
    if (argc > 1 && unknownCommand(app, argv[1])) return vxfw::kBadArguments;
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForVersion& e) {
        return app.exit(e);
    } catch (const CLI::ParseError& e) {
        app.exit(e);
        return vxfw::kBadArguments;
    } catch (const std::bad_alloc&) {
        // Inputs are judged by size before they are read; what is left is a machine short of
        // memory for a file of a size vxfw takes.
        std::fprintf(stderr, "vxfw: not enough memory for this input\n");
        return vxfw::kBadArguments;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "vxfw: %s\n", e.what());
        return vxfw::kInternalError;
    }
    return vxfw::tracing::finish(app, std::vector<std::string>(argv + 1, argv + argc), exitCode);
}
