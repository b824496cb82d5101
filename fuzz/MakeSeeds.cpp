// Writes the seed corpora into the build tree: files made by the library's writers for the parser
// targets, and for the device flows the parameter prefixes (variant, host failure, skip, the
// flow's parameters) that RecordSeeds.cmake turns into seeds replaying a camera's answers.
//   fuzz_make_seeds SEEDS_DIR PREFIXES_DIR
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "FuzzHarness.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "presets/L840OptionalDepthPresetsParser.h"
#include "vxsim/plugin.h"

using namespace libvxsensor;

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

Bytes pattern(size_t n, const std::string& prefix = "") {
    Bytes out(n);
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<uint8_t>(i * 11 + 3);
    std::copy_n(prefix.begin(), std::min(prefix.size(), n), out.begin());
    return out;
}

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes le16(unsigned value) {
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
}

class Corpus {
public:
    explicit Corpus(fs::path dir) : dir_(std::move(dir)) { fs::create_directories(dir_); }
    Corpus& add(const Bytes& bytes) {
        const fs::path path = dir_ / std::to_string(next_++);
        std::ofstream out(path, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()),
                  static_cast<std::streamsize>(bytes.size()));
        if (!out) throw std::runtime_error("cannot write " + path.string());
        return *this;
    }

private:
    fs::path dir_;
    int next_ = 0;
};

void parserSeeds(const fs::path& seeds) {
    Corpus(seeds / "l5_image")
        .add(L5ImageWriter().write())
        .add(L5ImageWriter().pid(0x0660).size(0x30000).write())
        .add(L5ImageWriter().magic(0x12345678).write());
    using R = L840RecordWriter;
    const R main = R().name("main").address(0x100000).data(pattern(300));
    Corpus(seeds / "l840_container")
        .add(L840ContainerWriter().component(main).write())
        .add(L840ContainerWriter()
                 .serial("Kovra A")
                 .component(R().name("boot").address(0x10000).data(pattern(64)).pids({0x0810}))
                 .component(R().name("isp").address(0x500000).version("9.9.9").data(pattern(40)))
                 .component(R(main).pids({0x0800, 0x0820}))
                 .trailing(pattern(16))
                 .write())
        .add(L840ContainerWriter().headerSize(128).component(R().headerSize(96)).write())
        .add(L840ContainerWriter().component(main).count(3).write());
    Corpus(seeds / "l840_presets")
        .add(L840PresetFileWriter().record(R()).write())
        .add(L840PresetFileWriter()
                 .product("Kovra A")
                 .record(R().pids({0x0800}).data(pattern(32)))
                 .record(R().address(0x7F8000).pids({0x0810, 0x0800}))
                 .write())
        .add(L840PresetFileWriter().record(R().checksumOffBy(1)).write());
    Corpus(seeds / "openni_image").add(pattern(0x20000)).add(pattern(1000));
    Corpus(seeds / "miromax_package")
        .add(cat({{127}, MiroMaxPackageWriter().write()}))
        .add(cat({{2},
                  MiroMaxPackageWriter()
                      .productName("ra-dk700v")
                      .firmwareType(3)
                      .payload(pattern(700))
                      .write()}));
    Corpus(seeds / "l5pro_kinds")
        .add(L840ContainerWriter().component(R().data(pattern(200)).pids({0x0671})).write())
        .add(pattern(64, "PK\x03\x04"))
        .add(pattern(64, "OTRA"))
        .add(pattern(64, "VXPRESET"));
}

// State files as the emulator writes them (after a finished flash write, after one the power
// cut short, of a camera made in its bootloader), behind the byte that picks the model.
void stateSeeds(const fs::path& dir) {
    Corpus corpus(dir);
    const fs::path file = dir.parent_path() / "state-seed";  // the stamp rule removes it
    for (const auto& [model, options] :
         {std::pair<uint8_t, const char*>{0, ""}, {0, ",cut=1"}, {1, ""}, {2, ",boot,cut=3"}}) {
        fs::remove(file);
        const std::string selector = vxfuzz::stateFileSelector(model, file.string()) + options;
        char error[512] = "";
        const vx_device_plugin* plugin = vxsim_device_plugin();
        vx_device_t* camera = plugin->open(selector.c_str(), error, sizeof error);
        if (camera == nullptr) throw std::runtime_error(error);
        vx_device_write_flash(
            camera, 0x100000, pattern(4096).data(), 4096, [](VXDataTranState, uint8_t, void*) {},
            false, nullptr);
        if (plugin->close(camera, error, sizeof error) != 0) throw std::runtime_error(error);
        std::ifstream in(file, std::ios::binary);
        Bytes seed{model};
        seed.insert(seed.end(), std::istreambuf_iterator<char>(in), {});
        corpus.add(seed);
    }
}

// Each prefix starts with: variant, host failure (0: none), calls to let through before it.
void flowPrefixes(const fs::path& prefixes) {
    Corpus execute(prefixes / "protocol_execute");
    for (unsigned kind = 0; kind <= 10; ++kind) {
        const bool rawData = kind == 4 || kind == 5;
        const unsigned arg = kind == 6 ? 64 : kind == 10 ? 259 : 100;
        execute.add(
            cat({{0, 0, 0, 0, static_cast<uint8_t>(kind)}, le16(rawData ? 1052 : 100), le16(arg)}));
    }
    // Four steps in one run: property, structure, flash read, then the library's own commands.
    Bytes steps{0, 0, 0, 3};
    for (const unsigned step : {0u, 2u, 6u, 10u}) {
        const unsigned id = step == 6 ? 0 : 100;
        const unsigned arg = step == 6 ? 256 : step == 10 ? 4095 : 0;
        steps = cat({steps, {static_cast<uint8_t>(step)}, le16(id), le16(arg)});
    }
    execute.add(steps);

    Corpus flash(prefixes / "flash_transfer");
    for (uint8_t variant = 0; variant < 4; ++variant)
        for (uint8_t mode = 0; mode < 3; ++mode)
            flash.add(
                cat({{variant, 0, 0, static_cast<uint8_t>(12 + mode)}, le16(999), le16(0x40)}));

    Corpus raw(prefixes / "raw_data_read");
    for (const unsigned chunk : {479u, 99u, 1013u}) raw.add(cat({{0, 0, 0}, le16(chunk)}));

    Corpus l840(prefixes / "l840_update");
    Corpus miromax(prefixes / "miromax_update");
    Corpus l5pro(prefixes / "l5pro_update");
    Corpus customer(prefixes / "customer_data_read");
    for (uint8_t failure = 0; failure <= 10; ++failure) {
        for (uint8_t variant = 0; variant < 4; ++variant) l840.add({variant, failure, 1, 0});
        for (uint8_t variant = 0; variant < 2; ++variant) {
            miromax.add({variant, failure, 1});
            for (uint8_t kind = 0; kind < 3; ++kind) l5pro.add({variant, failure, 1, kind});
        }
        for (uint8_t variant = 0; variant < 3; ++variant)
            customer.add(cat({{variant, failure, 1}, le16(2047)}));
    }
    customer.add(cat({{0, 0, 0}, le16(0)})).add(cat({{1, 0, 0}, le16(17)}));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s SEEDS_DIR PREFIXES_DIR\n", argv[0]);
        return 2;
    }
    parserSeeds(argv[1]);
    stateSeeds(fs::path(argv[1]) / "state_file");
    flowPrefixes(argv[2]);
    return 0;
}
