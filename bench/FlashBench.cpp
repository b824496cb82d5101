// Throughput of the raw flash entry points against a zero-latency virtual camera: what the
// library and the emulator cost per byte when the link costs nothing.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "vxsensor/vx_extension.h"
#include "vxsim/Models.h"

namespace {

std::vector<uint8_t> image(size_t size) {
    std::vector<uint8_t> bytes(size);
    std::mt19937 rng(42);
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
    return bytes;
}

struct Outcome {
    int last = 0;
};

void onWrite(VXDataTranState state, uint8_t, void* user) { static_cast<Outcome*>(user)->last = state; }

// range(0): image size; the camera is on USB (480-byte packets), verified by read-back.
void BM_WriteFlashVerified(benchmark::State& state) {
    const auto data = image(static_cast<size_t>(state.range(0)));
    auto camera = vxsim::makeCamera("l840");
    for (auto _ : state) {
        Outcome outcome;
        vx_device_write_flash(camera->handle(), 0, data.data(), static_cast<uint32_t>(data.size()),
                              onWrite, false, &outcome);
        if (outcome.last != VX_DATA_TRAN_STATE_DONE) state.SkipWithError("write failed");
        state.PauseTiming();
        camera->device().clearExchanges();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_WriteFlashVerified)->Arg(8 << 20)->Unit(benchmark::kMillisecond);

void onRead(VXDataTranState, VXDataChunk* chunk, void* user) {
    *static_cast<size_t*>(user) += chunk->size;
}

void BM_ReadFlash(benchmark::State& state) {
    auto camera = vxsim::makeCamera("l840");
    for (auto _ : state) {
        size_t received = 0;
        vx_device_read_flash(camera->handle(), 0, static_cast<uint32_t>(state.range(0)), onRead, false,
                             &received);
        benchmark::DoNotOptimize(received);
        state.PauseTiming();
        camera->device().clearExchanges();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ReadFlash)->Arg(8 << 20)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
