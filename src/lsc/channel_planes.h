/// A raw frame as four planes, one per Bayer channel.
#pragma once

#include <array>
#include <cstdint>

#include "core/channel.h"
#include "core/frame.h"
#include "core/scratch.h"

namespace cali::lsc {

/// Row-major, half the frame's size either way: a last odd row or column belongs to no plane. Samples are signed.
struct ChannelPlanes {
    int32_t width = 0;
    int32_t height = 0;
    std::array<Scratch<int32_t>, kChannels> samples;  ///< by channel code

    [[nodiscard]] bool empty() const { return width == 0 || height == 0; }
    [[nodiscard]] std::size_t columns() const { return static_cast<std::size_t>(width); }
    [[nodiscard]] int32_t* row(std::size_t channel, int32_t y) const {
        return samples[channel].data() + static_cast<std::size_t>(y) * columns();
    }
};

/// Throws std::bad_alloc.
[[nodiscard]] ChannelPlanes split_frame(const ConstRawFrame& frame);

}  // namespace cali::lsc
