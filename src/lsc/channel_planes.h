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
    /// Uninitialised planes for a frame. Throws std::bad_alloc.
    ChannelPlanes(int32_t frame_width, int32_t frame_height);

    int32_t width;
    int32_t height;
    std::array<Scratch<int32_t>, kChannels> samples;  ///< by channel code

    [[nodiscard]] bool empty() const { return width == 0 || height == 0; }
    [[nodiscard]] std::size_t columns() const { return static_cast<std::size_t>(width); }
    [[nodiscard]] int32_t* row(std::size_t channel, int32_t y) const {
        return samples[channel].data() + static_cast<std::size_t>(y) * columns();
    }
};

/// Fills planes of the frame's size.
void split_frame(const ConstRawFrame& frame, const ChannelPlanes& planes);

}  // namespace cali::lsc
