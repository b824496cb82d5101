// CRC-32/MPEG-2 (polynomial 0x04C11DB7, initial 0xFFFFFFFF, most significant bit first, no final
// XOR) for the finish-write-with-CRC request. The device computes it as a bit-parallel circuit;
// the library computes the same function eight bytes at a time from tables (slicing-by-8), which
// is bit-identical and fast enough for images of tens of MiB on a small board.
#include <array>

#include "vendorcommand/Protocol.h"

namespace libvxsensor::protocol {

namespace {

constexpr uint32_t kPolynomial = 0x04C11DB7u;
using CrcTables = std::array<std::array<uint32_t, 256>, 8>;

constexpr CrcTables makeTables() {
    CrcTables t{};
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t c = b << 24;
        for (int i = 0; i < 8; ++i) {
            c = (c & 0x80000000u) != 0 ? (c << 1) ^ kPolynomial : c << 1;
        }
        t[0][b] = c;
    }
    for (size_t k = 1; k < 8; ++k) {
        for (size_t b = 0; b < 256; ++b) {
            const uint32_t prev = t[k - 1][b];
            t[k][b] = (prev << 8) ^ t[0][prev >> 24];
        }
    }
    return t;
}

constexpr CrcTables kTables = makeTables();

}  // namespace

uint32_t calcCrc32(const uint8_t* data, uint32_t size) {
    uint32_t c = 0xFFFFFFFFu;
    const uint8_t* p = data;
    uint32_t left = size;
    for (; left >= 8; left -= 8, p += 8) {
        c ^= (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
             (static_cast<uint32_t>(p[2]) << 8) | p[3];
        c = kTables[7][c >> 24] ^ kTables[6][(c >> 16) & 0xFF] ^ kTables[5][(c >> 8) & 0xFF] ^
            kTables[4][c & 0xFF] ^ kTables[3][p[4]] ^ kTables[2][p[5]] ^ kTables[1][p[6]] ^
            kTables[0][p[7]];
    }
    for (; left > 0; --left, ++p) {
        c = (c << 8) ^ kTables[0][(c >> 24) ^ *p];
    }
    return c;
}

uint8_t getByteOffset(uint8_t value) {
    uint8_t i = 0;
    while (i < 8 && ((value >> i) & 1u) == 0) {
        ++i;
    }
    return i;
}

uint8_t getByteBit(uint8_t value, uint8_t bit) {
    // The shift is computed in 8 bits, so a bit number above 7 wraps to a large shift: mask 0.
    const auto shift = static_cast<uint8_t>(7 - bit);
    const auto mask = static_cast<uint8_t>(shift >= 8 ? 0u : 0x80u >> shift);
    if (mask == 0) {
        return 0;
    }
    return static_cast<uint8_t>((value & mask) >> getByteOffset(mask));
}

uint8_t getDWORDOffset(uint32_t value) {
    uint8_t i = 0;
    while (i < 32 && ((value >> i) & 1u) == 0) {
        ++i;
    }
    return i;
}

uint8_t getDWORDBit(uint32_t value, uint32_t bit) {
    const uint32_t shift = 31u - bit;
    const uint32_t mask = shift >= 32 ? 0u : 0x80000000u >> shift;
    if (mask == 0) {
        return 0;
    }
    return static_cast<uint8_t>((value & mask) >> getDWORDOffset(mask));
}

}  // namespace libvxsensor::protocol
