// vxfw: the command-line face of libvxsensor_ext.
#include <cstdio>
#include <exception>
#include <new>

#include "vxfw/Commands.h"
#include "vxfw/ExitCodes.h"

int main(int argc, char** argv) {
    CLI::App app{
        "vxfw: check firmware and preset files, and update cameras through libvxsensor_ext"};
    app.require_subcommand(1);
    int exitCode = vxfw::kOk;
    vxfw::registerFileCommands(app, exitCode);
    vxfw::registerDeviceCommands(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
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
    return exitCode;
}
