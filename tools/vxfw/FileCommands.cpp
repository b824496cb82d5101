// vxfw inspect and vxfw pack: they work on files only; nothing is sent anywhere.
#include <memory>
#include <string>
#include <vector>

#include "vxfw/Commands.h"
#include "vxfw/InspectFile.h"
#include "vxfw/PackManifest.h"

namespace vxfw {

void registerFileCommands(CLI::App& app, int& exitCode) {
    struct Options {
        std::vector<std::string> files;
        bool json = false;
        std::string manifest;
        std::string output;
        bool allowEmpty = false;
    };
    // The callbacks run after parsing, when this function has long returned.
    auto options = std::make_shared<Options>();

    CLI::App* inspect = app.add_subcommand(
        "inspect",
        "Tell each file's kind, its fields and records, and what an update of each camera "
        "model would come to, as the library judges it");
    inspect->add_option("files", options->files, "Firmware or preset files")->required();
    inspect->add_flag("--json", options->json, "JSON Lines: one object per file, then a result");
    inspect->callback(
        [options, &exitCode] { exitCode = runInspect(options->files, options->json); });

    CLI::App* pack = app.add_subcommand(
        "pack",
        "Build an L840 container, L840 preset file, L5 image or MiroMax package from a JSON "
        "manifest (format: docs/vxfw-manifest.md)");
    pack->add_option("manifest", options->manifest, "The JSON manifest")->required();
    pack->add_option("-o,--output", options->output, "The file to write")->required();
    pack->add_flag("--allow-empty", options->allowEmpty,
                   "Write a container without components too (cameras take it and write nothing)");
    pack->add_flag("--json", options->json, "JSON Lines: the result as one object");
    pack->callback([options, &exitCode] {
        exitCode = runPack(options->manifest, options->output, options->allowEmpty, options->json);
    });
}

}  // namespace vxfw
