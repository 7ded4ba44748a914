/// Views of raw frames.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cali {

/// Row-major samples without padding, 12-bit scale, with their geometry. Owns nothing.
template <typename Sample>
struct BasicFrame {
    Sample* samples = nullptr;
    int32_t width = 0;
    int32_t height = 0;
    int32_t pattern = 0;

    [[nodiscard]] Sample* row(int32_t y) const {
        return samples + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    }
    [[nodiscard]] bool empty() const { return width <= 0 || height <= 0; }
    [[nodiscard]] std::size_t size() const {
        return empty() ? 0 : static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    [[nodiscard]] std::size_t columns() const { return static_cast<std::size_t>(width); }

    operator BasicFrame<const Sample>() const { return {samples, width, height, pattern}; }  // NOLINT: a view of a view
};

using RawFrame = BasicFrame<uint32_t>;
using ConstRawFrame = BasicFrame<const uint32_t>;

}  // namespace cali
