// CRC-32/MPEG-2 (polynomial 0x04C11DB7, initial 0xFFFFFFFF, most significant bit first, no final
// XOR) for the finish-write-with-CRC request. The device computes it as a bit-parallel circuit;
// the library computes the same function sixteen bytes at a time from tables (slicing-by-16),
// which is bit-identical and keeps images of tens of MiB cheap on a small board. Input is read
// byte by byte: no unaligned word loads (which fault or crawl on some ARM cores) and no
// assumption about the host's byte order.
#include <array>

#include "vendorcommand/Protocol.h"

namespace libvxsensor::protocol {

namespace {

constexpr uint32_t kPolynomial = 0x04C11DB7u;
constexpr uint32_t kSlices = 16;
// kTables[k][b]: what byte b contributes to the register when k more bytes follow it in the
// same step. 16 KiB in all: within the first-level data cache of the boards we ship on.
using CrcTables = std::array<std::array<uint32_t, 256>, kSlices>;

constexpr CrcTables makeTables() {
    CrcTables t{};
    for (uint32_t b = 0; b < 256; ++b) {
        uint32_t c = b << 24;
        for (int i = 0; i < 8; ++i) {
            c = (c & 0x80000000u) != 0 ? (c << 1) ^ kPolynomial : c << 1;
        }
        t[0][b] = c;
    }
    for (size_t k = 1; k < kSlices; ++k) {
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
    for (; left >= kSlices; left -= kSlices, p += kSlices) {
        // The register meets the first four bytes; the other twelve enter on their own.
        const uint32_t head =
            c ^ ((static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
                 (static_cast<uint32_t>(p[2]) << 8) | p[3]);
        c = kTables[15][head >> 24] ^ kTables[14][(head >> 16) & 0xFF] ^
            kTables[13][(head >> 8) & 0xFF] ^ kTables[12][head & 0xFF] ^ kTables[11][p[4]] ^
            kTables[10][p[5]] ^ kTables[9][p[6]] ^ kTables[8][p[7]] ^ kTables[7][p[8]] ^
            kTables[6][p[9]] ^ kTables[5][p[10]] ^ kTables[4][p[11]] ^ kTables[3][p[12]] ^
            kTables[2][p[13]] ^ kTables[1][p[14]] ^ kTables[0][p[15]];
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
