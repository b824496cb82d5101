// Replaced global allocation functions: each block carries a small header with its size and
// the side it was booked to, so a block freed by the other side is still taken off the right
// account.
#include "CountingHeap.h"

#include <cstdlib>
#include <new>

namespace {

struct alignas(alignof(std::max_align_t)) Header {
    size_t size;
    bool device;
};

bool g_deviceSide = false;
size_t g_libraryLive = 0;
size_t g_libraryPeak = 0;

void* allocate(size_t size) noexcept {
    auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
    if (header == nullptr) return nullptr;
    header->size = size;
    header->device = g_deviceSide;
    if (!header->device) {
        g_libraryLive += size;
        if (g_libraryLive > g_libraryPeak) g_libraryPeak = g_libraryLive;
    }
    return header + 1;
}

void release(void* block) noexcept {
    if (block == nullptr) return;
    Header* header = static_cast<Header*>(block) - 1;
    if (!header->device) g_libraryLive -= header->size;
    std::free(header);
}

void* allocateOrThrow(size_t size) {
    void* block = allocate(size == 0 ? 1 : size);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

}  // namespace

namespace vxbench::heap {

DeviceSide::DeviceSide() : previous_(g_deviceSide) {
    g_deviceSide = true;
}
DeviceSide::~DeviceSide() {
    g_deviceSide = previous_;
}

size_t libraryLive() {
    return g_libraryLive;
}
size_t libraryPeak() {
    return g_libraryPeak;
}
void resetPeak() {
    g_libraryPeak = g_libraryLive;
}

}  // namespace vxbench::heap

void* operator new(size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](size_t size) {
    return allocateOrThrow(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return allocate(size == 0 ? 1 : size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return allocate(size == 0 ? 1 : size);
}
void operator delete(void* block) noexcept {
    release(block);
}
void operator delete[](void* block) noexcept {
    release(block);
}
void operator delete(void* block, size_t) noexcept {
    release(block);
}
void operator delete[](void* block, size_t) noexcept {
    release(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
    release(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
    release(block);
}
