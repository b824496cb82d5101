// CRC-32/MPEG-2: published check values, and the fast path against the camera emulator's own,
// independent CRC on random inputs of random lengths and alignments.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "vendorcommand/Protocol.h"
#include "vxsim/VirtualCamera.h"

using namespace libvxsensor::protocol;

TEST(Crc32, CheckValues) {
    EXPECT_EQ(calcCrc32(nullptr, 0), 0xFFFFFFFFu);
    const uint8_t zero = 0;
    EXPECT_EQ(calcCrc32(&zero, 1), 0x4E08BFB4u);
    const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(calcCrc32(digits, 9), 0x0376E6E7u);
}

TEST(Crc32, MatchesAnIndependentImplementationOnRandomInputs) {
    std::mt19937 rng(20261121);
    std::vector<uint8_t> pool(70000);
    for (auto& b : pool) b = static_cast<uint8_t>(rng());
    for (int round = 0; round < 300; ++round) {
        const size_t start = rng() % 16;  // unaligned starts
        const size_t length = round < 100 ? static_cast<size_t>(round) : rng() % 65536;
        EXPECT_EQ(calcCrc32(pool.data() + start, static_cast<uint32_t>(length)),
                  vxsim::crc32Mpeg2(pool.data() + start, length))
            << "start " << start << " length " << length;
    }
}

// The bit readers of the circuit form (bench/CrcBench.cpp): out-of-range bits read as 0.
TEST(Crc32, BitHelpers) {
    EXPECT_EQ(getByteOffset(0), 8);
    EXPECT_EQ(getByteOffset(0x80), 7);
    EXPECT_EQ(getByteOffset(0x0C), 2);
    EXPECT_EQ(getDWORDOffset(0), 32);
    EXPECT_EQ(getDWORDOffset(0x00010000), 16);
    EXPECT_EQ(getByteBit(0xFF, 8) + getByteBit(0xFF, 200) + getByteBit(0xFB, 2), 0);
    EXPECT_EQ(getByteBit(0x04, 2), 1);
    EXPECT_EQ(getDWORDBit(0xFFFFFFFFu, 32) + getDWORDBit(0xFFFFFFFEu, 0), 0);
    EXPECT_EQ(getDWORDBit(0x80000000u, 31) + getDWORDBit(0x00000001u, 0), 2);
}
