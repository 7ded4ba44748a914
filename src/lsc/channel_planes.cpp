#include "lsc/channel_planes.h"

#include "core/row_kernels.h"

namespace cali::lsc {

ChannelPlanes split_frame(const ConstRawFrame& frame) {
    ChannelPlanes planes;
    planes.width = frame.width / 2;
    planes.height = frame.height / 2;
    for (Scratch<int32_t>& plane : planes.samples) {
        plane = Scratch<int32_t>(planes.columns() * static_cast<std::size_t>(planes.height));
    }
    for (int32_t y = 0; y < planes.height * 2; ++y) {
        const auto parity = static_cast<uint32_t>(y);
        row_kernels().split(frame.row(y), planes.row(bayer_channel(frame.pattern, parity, 0), y / 2),
                            planes.row(bayer_channel(frame.pattern, parity, 1), y / 2), planes.columns());
    }
    return planes;
}

}  // namespace cali::lsc
