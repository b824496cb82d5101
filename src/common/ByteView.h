// Bytes that someone else owns, seen read-only: how an image travels from the caller down to
// the parsers and transfers without being copied on the way. A view never owns; whoever makes
// one keeps the bytes alive for as long as the view (or anything made from it) is used.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace libvxsensor {

class ByteView {
public:
    ByteView() = default;
    // A null pointer is an empty view, whatever size comes with it.
    ByteView(const uint8_t* data, size_t size) : data_(data), size_(data != nullptr ? size : 0) {}
    // Implicit on purpose: a vector the caller holds is the commonest image.
    ByteView(const std::vector<uint8_t>& bytes) : data_(bytes.data()), size_(bytes.size()) {}

    const uint8_t* data() const { return data_; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    const uint8_t* begin() const { return data_; }
    const uint8_t* end() const { return data_ + size_; }

private:
    const uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace libvxsensor
