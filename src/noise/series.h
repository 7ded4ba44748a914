/// A brightness series as the calculations see it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "cali/cali.h"

namespace cali::noise {

/// `count` levels of `nframes` frames each, all of one size. Owns nothing; frames may be modified.
struct Series {
    const Level* levels = nullptr;
    int32_t count = 0;
    int32_t nframes = 0;
    int32_t width = 0;
    int32_t height = 0;

    [[nodiscard]] uint32_t* frame(int32_t level, int32_t index) const { return levels[level].frames[index]; }
    [[nodiscard]] std::size_t columns() const { return static_cast<std::size_t>(width); }
    [[nodiscard]] std::size_t frame_size() const { return columns() * static_cast<std::size_t>(height); }
};

inline constexpr std::size_t kCellPositions = 4;  ///< (column & 1) + 2 (row & 1)

}  // namespace cali::noise
