// What the library costs per exchange and per byte of image when the link costs nothing: flash
// write with read-back and flash read through the exported functions, a raw-data transfer into
// an L945Se camera, and a firmware update from a file for every family with the library's peak
// heap against the image size. The time the virtual camera spends answering is measured apart,
// so the library's own share is what remains.
//
//   vxsensor_bench                         all benchmarks, then the summary tables
//   vxsensor_bench --flash-write-once      one 8 MiB flash write, for scripts/callgrind.sh
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "BenchReport.h"
#include "CountingHeap.h"
#include "firmware/L5FirmwareParser.h"
#include "firmware/L840FirmwareParser.h"
#include "firmware/MiroMaxFirmwareParser.h"
#include "vxsensor/vx_extension.h"
#include "vxsim/Install.h"
#include "vxsim/LinkModel.h"
#include "vxsim/Models.h"

using namespace libvxsensor;

namespace {

constexpr uint32_t kFlashSize = 8u << 20;
constexpr uint32_t kRawSize = 8u << 20;

std::vector<uint8_t> randomBytes(size_t size) {
    std::vector<uint8_t> bytes(size);
    std::mt19937 rng(42);
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
    return bytes;
}

// Sits between the host and the virtual camera: times the camera's answers and books what it
// allocates to the device side.
class TimedDevice : public vxsim::Responder {
public:
    explicit TimedDevice(std::shared_ptr<vxsim::Responder> inner) : inner_(std::move(inner)) {}

    vxsim::Reply exchange(const std::vector<uint8_t>& request, uint32_t capacity) override {
        const vxbench::heap::DeviceSide device;
        const auto start = std::chrono::steady_clock::now();
        vxsim::Reply reply = inner_->exchange(request, capacity);
        seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ++exchanges_;
        return reply;
    }
    bool structuredData(uint32_t id, std::vector<uint8_t>& out) override {
        const vxbench::heap::DeviceSide device;
        return inner_->structuredData(id, out);
    }

    double seconds() const { return seconds_; }
    uint64_t exchanges() const { return exchanges_; }

private:
    std::shared_ptr<vxsim::Responder> inner_;
    double seconds_ = 0;
    uint64_t exchanges_ = 0;
};

// A catalog camera without an exchange log, its answers timed.
struct Bench {
    std::unique_ptr<vxsim::EmulatedCamera> camera;
    std::shared_ptr<TimedDevice> timed;

    explicit Bench(const std::string& description) : camera(vxsim::makeCamera(description)) {
        camera->device().setRecording(false);
        timed = std::make_shared<TimedDevice>(camera->device().sharedResponder());
        camera->device().setResponder(timed);
    }
    vx_device_t* handle() { return camera->handle(); }
};

void registerGroups() {
    for (const auto& [group, records] : vxsim::groupRecords()) {
        vx_set_device_info_data(group, records.data(), static_cast<uint32_t>(records.size()),
                                nullptr);
    }
}

void onWrite(VXDataTranState state, uint8_t, void* user) {
    *static_cast<int*>(user) = state;
}

void onRead(VXDataTranState, VXDataChunk* chunk, void* user) {
    *static_cast<size_t*>(user) += chunk->size;
}

// Per-iteration counters shared by the transfer benchmarks: exchanges, the camera's time, and
// what USB 2.0 would have taken for the same exchanges.
void setTransferCounters(benchmark::State& state, Bench& bench, double modelled) {
    const auto iterations = static_cast<double>(state.iterations());
    state.counters["exchanges"] = static_cast<double>(bench.timed->exchanges()) / iterations;
    state.counters["device_s"] = bench.timed->seconds() / iterations;
    state.counters["usb2_s"] = modelled / iterations;
}

void BM_WriteFlashVerified(benchmark::State& state) {
    const auto data = randomBytes(kFlashSize);
    Bench bench("l840,conn=USB2.0");
    bench.camera->device().resetModelledTime();
    for (auto _ : state) {
        int last = 0;
        vx_device_write_flash(bench.handle(), 0, data.data(), kFlashSize, onWrite, false, &last);
        if (last != VX_DATA_TRAN_STATE_DONE) state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFlashSize);
    setTransferCounters(state, bench, bench.camera->device().modelledSeconds());
}
BENCHMARK(BM_WriteFlashVerified)->Unit(benchmark::kMillisecond);

void BM_ReadFlash(benchmark::State& state) {
    Bench bench("l840,conn=USB2.0");
    bench.camera->device().resetModelledTime();
    for (auto _ : state) {
        size_t received = 0;
        vx_device_read_flash(bench.handle(), 0, kFlashSize, onRead, false, &received);
        if (received != kFlashSize) state.SkipWithError("read failed");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFlashSize);
    setTransferCounters(state, bench, bench.camera->device().modelledSeconds());
}
BENCHMARK(BM_ReadFlash)->Unit(benchmark::kMillisecond);

struct UpdateOutcome {
    int last = 0;
};

void onUpgrade(VXUpgradeState state, const char*, uint8_t, void* user) {
    static_cast<UpdateOutcome*>(user)->last = state;
}

// A composite package ("PK\3\4") goes to the camera's firmware object 4039 as raw data in
// 8152-byte packets; the camera then reports started and done at once, so no poll pauses.
void BM_RawDataToL945Se(benchmark::State& state) {
    registerGroups();
    auto image = randomBytes(kRawSize);
    std::memcpy(image.data(), "PK\x03\x04", 4);
    Bench bench("l945se,conn=USB2.0");
    vxsim::setInstallScript(*bench.camera, vxsim::InstallScript().started().done());
    bench.camera->device().resetModelledTime();
    for (auto _ : state) {
        UpdateOutcome outcome;
        vx_error* error = nullptr;
        vx_device_update_firmware_from_raw_data_ext(bench.handle(), image.data(), kRawSize,
                                                    onUpgrade, false, &outcome, &error);
        if (error != nullptr || outcome.last != VX_UPGRADE_STATE_DONE) {
            state.SkipWithError("raw-data transfer failed");
        }
        if (error != nullptr) vx_delete_error(error);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kRawSize);
    setTransferCounters(state, bench, bench.camera->device().modelledSeconds());
}
BENCHMARK(BM_RawDataToL945Se)->Unit(benchmark::kMillisecond);

// ---- Firmware update from a file, peak heap per family ---------------------------------------

struct Family {
    const char* name;
    const char* camera;
    std::vector<uint8_t> (*file)();
    bool installsItself;  // takes the image as raw data and reports its own install
};

constexpr uint32_t k16MiB = 16u << 20;
// Container header and one record header around the data of a 16 MiB L840 file.
constexpr uint32_t kL840Overhead = 64 + 128;

std::vector<uint8_t> l840File() {
    return L840ContainerWriter()
        .serial("Lumex 840")
        .component(L840RecordWriter().address(0x100000).data(randomBytes(k16MiB - kL840Overhead)))
        .write();
}
// A hostile container: a million records of four bytes, each a valid empty component. Parsing
// must cost about the file, not a list entry per record.
std::vector<uint8_t> l840TinyRecordsFile() {
    constexpr uint32_t kRecords = 1000000;
    std::vector<uint8_t> file = L840ContainerWriter().serial("Lumex 840").count(kRecords).write();
    for (uint32_t i = 0; i < kRecords; ++i) file.insert(file.end(), {4, 0, 0, 0});
    return file;
}
std::vector<uint8_t> l5File() {
    return L5ImageWriter().pid(0x0670).size(0xA0000).write();
}
std::vector<uint8_t> openNIFile() {
    return randomBytes(256u << 10);
}
std::vector<uint8_t> l5ProFile() {
    return L840ContainerWriter()
        .component(L840RecordWriter().data(randomBytes(k16MiB - kL840Overhead)).pids({0x0671}))
        .write();
}
// GCC 12 at -O3 takes the builder's insert behind a 256-byte header for a copy past that
// block, which it is not (the vector grows first).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Warray-bounds"
#pragma GCC diagnostic ignored "-Wstringop-overread"
#endif
std::vector<uint8_t> miroMaxFile() {
    return MiroMaxPackageWriter().payload(randomBytes(k16MiB - 256)).write();
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

const Family kFamilies[] = {
    {"L840", "l840,flash=32M", l840File, false},
    {"L5", "l5", l5File, false},
    {"OpenNI", "openni", openNIFile, false},
    {"L5Pro", "l5pro", l5ProFile, true},
    {"MiroMax", "miromax", miroMaxFile, true},
    {"L840-1M-tiny-records", "l840", l840TinyRecordsFile, false},
};

void BM_UpdateFromFile(benchmark::State& state, const Family& family) {
    registerGroups();
    const std::string path =
        (std::filesystem::temp_directory_path() / (std::string("vxbench-") + family.name + ".fw"))
            .string();
    size_t size = 0;
    {
        const std::vector<uint8_t> file = family.file();
        size = file.size();
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(size));
    }
    size_t peak = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Bench bench(family.camera);
        if (family.installsItself) {
            vxsim::setInstallScript(*bench.camera, vxsim::InstallScript().started().done());
        }
        const size_t before = vxbench::heap::libraryLive();
        vxbench::heap::resetPeak();
        state.ResumeTiming();
        UpdateOutcome outcome;
        vx_error* error = nullptr;
        vx_device_update_firmware_ext(bench.handle(), path.c_str(), onUpgrade, false, &outcome,
                                      &error);
        state.PauseTiming();
        peak = vxbench::heap::libraryPeak() - before;
        if (error != nullptr) {
            state.SkipWithError(vx_error_get_message(error));
            vx_delete_error(error);
        } else if (outcome.last != VX_UPGRADE_STATE_DONE) {
            state.SkipWithError("update did not finish");
        }
        state.ResumeTiming();
    }
    std::filesystem::remove(path);
    state.counters["image_bytes"] = static_cast<double>(size);
    state.counters["peak_heap"] = static_cast<double>(peak);
    state.counters["peak_per_size"] = static_cast<double>(peak) / static_cast<double>(size);
}

void registerUpdates() {
    for (const Family& family : kFamilies) {
        benchmark::RegisterBenchmark((std::string("BM_UpdateFromFile/") + family.name).c_str(),
                                     BM_UpdateFromFile, family)
            ->Unit(benchmark::kMillisecond)
            ->Iterations(3);
    }
}

// ---- Summary -------------------------------------------------------------------------------

void printTransfer(const vxbench::CollectingReporter& report, const char* name, const char* label) {
    const vxbench::Result* r = report.find(name);
    if (r == nullptr) return;
    const double exchanges = vxbench::counter(*r, "exchanges");
    const double device = vxbench::counter(*r, "device_s");
    const double usb2 = vxbench::counter(*r, "usb2_s");
    if (exchanges <= 0 || usb2 <= 0) return;
    // The camera is timed by the wall clock; its share of the wall time is applied to the CPU
    // time, so that a busy machine stretches both sides alike.
    const double perExchange = r->cpuSeconds / exchanges;
    const double devicePerExchange = perExchange * std::min(1.0, device / r->realSeconds);
    const double rest = perExchange - devicePerExchange;
    const double usb2PerExchange = usb2 / exchanges;
    std::printf("%-28s %9.0f %10.3f %10.3f %10.3f %10.1f %9.3f %% %9.3f %%\n", label, exchanges,
                perExchange * 1e6, devicePerExchange * 1e6, rest * 1e6, usb2PerExchange * 1e6,
                100.0 * rest / usb2PerExchange, 100.0 * r->cpuSeconds / usb2);
}

void printSummary(const vxbench::CollectingReporter& report) {
    std::printf(
        "\nPer exchange against a zero-latency camera (microseconds), next to the time "
        "USB 2.0 takes for the same exchanges (vxsim::LinkModel::usb2()).\n"
        "'camera' is the virtual camera answering; 'library+host' is the rest: the "
        "library and the emulator's host-call shim (scripts/callgrind.sh splits them).\n");
    std::printf("%-28s %9s %10s %10s %10s %10s %11s %11s\n", "transfer", "exchanges", "total",
                "camera", "lib+host", "usb2", "lib+host/usb2", "run/usb2");
    printTransfer(report, "BM_WriteFlashVerified", "flash write 8 MiB + verify");
    printTransfer(report, "BM_ReadFlash", "flash read 8 MiB");
    printTransfer(report, "BM_RawDataToL945Se", "raw data 8 MiB (L945Se)");

    std::printf("\nFirmware update from a file: the library's peak heap against the image size.\n");
    std::printf("%-10s %12s %14s %10s\n", "family", "image bytes", "peak heap", "peak/size");
    for (const Family& family : kFamilies) {
        const vxbench::Result* r = report.find(std::string("BM_UpdateFromFile/") + family.name);
        if (r == nullptr) continue;
        std::printf("%-10s %12.0f %14.0f %10.3f\n", family.name,
                    vxbench::counter(*r, "image_bytes"), vxbench::counter(*r, "peak_heap"),
                    vxbench::counter(*r, "peak_per_size"));
    }
}

// One flash write and nothing else, so that callgrind's counts are those of the transfer.
int flashWriteOnce() {
    const auto data = randomBytes(kFlashSize);
    Bench bench("l840,conn=USB2.0");
    bench.camera->device().resetModelledTime();
    int last = 0;
    vx_device_write_flash(bench.handle(), 0, data.data(), kFlashSize, onWrite, false, &last);
    std::printf("flash write of %u bytes: state %d, %llu exchanges, %.3f s on USB 2.0\n",
                kFlashSize, last, static_cast<unsigned long long>(bench.timed->exchanges()),
                bench.camera->device().modelledSeconds());
    return last == VX_DATA_TRAN_STATE_DONE ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--flash-write-once") == 0) return flashWriteOnce();
    registerUpdates();
    return vxbench::runAndSummarise(argc, argv, printSummary);
}
