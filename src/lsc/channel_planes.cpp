#include "lsc/channel_planes.h"

#include "kernels/row_kernels.h"

namespace cali::lsc {

ChannelPlanes::ChannelPlanes(int32_t frame_width, int32_t frame_height)
    : width(frame_width / 2), height(frame_height / 2) {
    for (Scratch<int32_t>& plane : samples) {
        plane = Scratch<int32_t>(columns() * static_cast<std::size_t>(height));
    }
}

void split_frame(const ConstRawFrame& frame, const ChannelPlanes& planes) {
    for (int32_t y = 0; y < planes.height * 2; ++y) {
        const auto parity = static_cast<uint32_t>(y);
        row_kernels().split(frame.row(y), planes.row(bayer_channel(frame.pattern, parity, 0), y / 2),
                            planes.row(bayer_channel(frame.pattern, parity, 1), y / 2), planes.columns());
    }
}

}  // namespace cali::lsc
