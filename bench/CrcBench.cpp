// CRC-32/MPEG-2 throughput: the library's calcCrc32 against the per-bit circuit form (built
// from the library's own bit helpers, kept here as the reference), Boost.CRC and ISA-L's
// folding CRC, on the same buffers in one run. Every implementation is proved on the check
// values before anything is timed; a wrong one aborts the run.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "BenchReport.h"
#include "vendorcommand/Protocol.h"

#ifdef VXBENCH_HAVE_BOOST
#include <boost/crc.hpp>
#endif
#ifdef VXBENCH_HAVE_ISAL
#include <isa-l/crc.h>
#endif

namespace {

using libvxsensor::protocol::calcCrc32;
using libvxsensor::protocol::getByteBit;
using libvxsensor::protocol::getDWORDBit;

constexpr uint32_t kPolynomial = 0x04C11DB7u;

// The circuit: next-state bit i is the XOR of some data bits and some register bits. Which
// ones follows from the polynomial, since one byte step of the shift register is linear in
// both; deriving the selections here keeps 32 hand-typed equations out of the benchmark.
struct Circuit {
    std::array<std::vector<uint8_t>, 32> dataBits;
    std::array<std::vector<uint8_t>, 32> stateBits;
    size_t helperCallsPerByte = 0;
};

uint32_t shiftRegisterStep(uint32_t c, uint8_t d) {
    c ^= uint32_t{d} << 24;
    for (int k = 0; k < 8; ++k) c = (c & 0x80000000u) != 0 ? (c << 1) ^ kPolynomial : c << 1;
    return c;
}

Circuit makeCircuit() {
    Circuit circuit;
    for (uint8_t j = 0; j < 8; ++j) {
        const uint32_t response = shiftRegisterStep(0, static_cast<uint8_t>(1u << j));
        for (uint8_t i = 0; i < 32; ++i) {
            if ((response >> i) & 1u) circuit.dataBits[i].push_back(j);
        }
    }
    for (uint8_t k = 0; k < 32; ++k) {
        const uint32_t response = shiftRegisterStep(1u << k, 0);
        for (uint8_t i = 0; i < 32; ++i) {
            if ((response >> i) & 1u) circuit.stateBits[i].push_back(k);
        }
    }
    for (size_t i = 0; i < 32; ++i) {
        circuit.helperCallsPerByte += circuit.dataBits[i].size() + circuit.stateBits[i].size();
    }
    return circuit;
}

const Circuit& circuit() {
    static const Circuit c = makeCircuit();
    return c;
}

uint32_t perBitCrc(const uint8_t* data, size_t size) {
    const Circuit& eq = circuit();
    uint32_t c = 0xFFFFFFFFu;
    for (size_t n = 0; n < size; ++n) {
        const uint8_t d = data[n];
        uint32_t next = 0;
        for (uint32_t i = 0; i < 32; ++i) {
            uint8_t bit = 0;
            for (const uint8_t j : eq.dataBits[i]) bit ^= getByteBit(d, j);
            for (const uint8_t k : eq.stateBits[i]) bit ^= getDWORDBit(c, k);
            next |= uint32_t{bit} << i;
        }
        c = next;
    }
    return c;
}

uint32_t libraryCrc(const uint8_t* data, size_t size) {
    return calcCrc32(data, static_cast<uint32_t>(size));
}

#ifdef VXBENCH_HAVE_BOOST
uint32_t boostCrc(const uint8_t* data, size_t size) {
    boost::crc_optimal<32, kPolynomial, 0xFFFFFFFF, 0, false, false> crc;
    crc.process_bytes(data, size);
    return crc.checksum();
}
#endif

#ifdef VXBENCH_HAVE_ISAL
// ISA-L's crc32_ieee is the non-reflected CRC with polynomial 0x04C11DB7 that complements its
// seed on the way in and its result on the way out. Seed 0 therefore starts the register at
// 0xFFFFFFFF, and complementing the result undoes the final XOR: CRC-32/MPEG-2 exactly.
uint32_t isalCrc(const uint8_t* data, size_t size) {
    return ~crc32_ieee(0, data, size);
}
#endif

using CrcFunction = uint32_t (*)(const uint8_t*, size_t);

struct Implementation {
    const char* name;
    CrcFunction crc;
};

std::vector<Implementation> implementations() {
    std::vector<Implementation> all{{"library", libraryCrc}, {"per-bit", perBitCrc}};
#ifdef VXBENCH_HAVE_BOOST
    all.push_back({"boost", boostCrc});
#endif
#ifdef VXBENCH_HAVE_ISAL
    all.push_back({"isa-l", isalCrc});
#endif
    return all;
}

constexpr size_t kSizes[] = {4u << 10, 64u << 10, 16u << 20};

const std::vector<uint8_t>& buffer() {
    static const std::vector<uint8_t> bytes = [] {
        std::vector<uint8_t> b(kSizes[2] + 1);
        std::mt19937 rng(20261121);
        for (auto& x : b) x = static_cast<uint8_t>(rng());
        return b;
    }();
    return bytes;
}

// Every implementation gives the check values and agrees with the library on an odd-aligned
// stretch of random bytes, or the run stops before it prints a single figure.
void proveOrAbort() {
    const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    const uint8_t zero = 0;
    const uint8_t* random = buffer().data() + 1;
    const uint32_t expectedRandom = libraryCrc(random, 4099);
    for (const Implementation& impl : implementations()) {
        const uint32_t check = impl.crc(digits, sizeof digits);
        const uint32_t empty = impl.crc(digits, 0);
        const uint32_t single = impl.crc(&zero, 1);
        const uint32_t mixed = impl.crc(random, 4099);
        if (check != 0x0376E6E7u || empty != 0xFFFFFFFFu || single != 0x4E08BFB4u ||
            mixed != expectedRandom) {
            std::fprintf(
                stderr,
                "%s is not CRC-32/MPEG-2: \"123456789\" 0x%08X, empty 0x%08X, 0x00 0x%08X, "
                "random 0x%08X (library 0x%08X)\n",
                impl.name, check, empty, single, mixed, expectedRandom);
            std::abort();
        }
    }
}

void runCrc(benchmark::State& state, CrcFunction crc) {
    const auto size = static_cast<size_t>(state.range(0));
    const uint8_t* data = buffer().data();
    for (auto _ : state) {
        benchmark::DoNotOptimize(crc(data, size));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * state.range(0));
}

void registerAll() {
    for (const Implementation& impl : implementations()) {
        auto* b = benchmark::RegisterBenchmark((std::string("BM_Crc/") + impl.name).c_str(), runCrc,
                                               impl.crc);
        for (const size_t size : kSizes) b->Arg(static_cast<int64_t>(size));
        b->Unit(benchmark::kMicrosecond);
        // About 250 helper calls per byte: one pass over 16 MiB takes tens of seconds.
        if (std::string(impl.name) == "per-bit") b->Iterations(1);
    }
}

void printFigure(int width, int decimals, double value) {
    if (value > 0) {
        std::printf(" %*.*f", width, decimals, value);
    } else {
        std::printf(" %*s", width, "-");
    }
}

void printSummary(const vxbench::CollectingReporter& report) {
    std::printf(
        "\nCRC-32/MPEG-2, GB/s of CPU time (1e9 bytes/s), ratios from this run. The per-bit form "
        "makes "
        "%zu helper calls per byte.\n",
        circuit().helperCallsPerByte);
    std::printf("%-10s", "size");
    const auto impls = implementations();
    for (const Implementation& impl : impls) std::printf(" %12s", impl.name);
    std::printf(" %15s", "library/per-bit");
    for (size_t i = 2; i < impls.size(); ++i) std::printf(" %10s/lib", impls[i].name);
    std::printf("\n");
    for (const size_t size : kSizes) {
        std::printf("%-10s", size >= (1u << 20) ? (std::to_string(size >> 20) + " MiB").c_str()
                                                : (std::to_string(size >> 10) + " KiB").c_str());
        // A benchmark left out by --benchmark_filter shows as "-".
        std::vector<double> rates;
        for (const Implementation& impl : impls) {
            const auto* r =
                report.find(std::string("BM_Crc/") + impl.name + "/" + std::to_string(size));
            rates.push_back(r != nullptr ? static_cast<double>(size) / r->cpuSeconds / 1e9 : 0.0);
            printFigure(12, 3, rates.back());
        }
        printFigure(15, 0, rates[0] > 0 && rates[1] > 0 ? rates[0] / rates[1] : 0.0);
        for (size_t i = 2; i < impls.size(); ++i) {
            printFigure(14, 2, rates[0] > 0 && rates[i] > 0 ? rates[i] / rates[0] : 0.0);
        }
        std::printf("\n");
    }
}

}  // namespace

int main(int argc, char** argv) {
    proveOrAbort();
    registerAll();
    return vxbench::runAndSummarise(argc, argv, printSummary);
}
