#include "pictures/demosaic.h"

#include "core/channel.h"
#include "core/reflect.h"

namespace cali {
namespace {

std::size_t colour_at(const ConstRawFrame& frame, int32_t y, int32_t x) {
    // Parity alone counts, also for -1.
    return colour_of(bayer_channel(frame.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x)));
}

}  // namespace

void demosaic(const ConstRawFrame& frame, RgbPixel* pixels) {
    for (int32_t y = 0; y < frame.height; ++y) {
        for (int32_t x = 0; x < frame.width; ++x, ++pixels) {
            const std::size_t own = colour_at(frame, y, x);
            std::array<uint64_t, 3> sum{};
            std::array<uint64_t, 3> count{};
            for (int32_t dy = -1; dy <= 1; ++dy) {
                for (int32_t dx = -1; dx <= 1; ++dx) {
                    const std::size_t colour = colour_at(frame, y + dy, x + dx);
                    const bool centre = dx == 0 && dy == 0;
                    // Green's diagonal neighbours are green too, but farther than itself.
                    if (centre || colour != own) {
                        sum[colour] += frame.row(reflect(y + dy, frame.height))[reflect(x + dx, frame.width)];
                        ++count[colour];
                    }
                }
            }
            for (std::size_t colour = 0; colour < sum.size(); ++colour) {
                (*pixels)[colour] = static_cast<uint32_t>(sum[colour] / count[colour]);
            }
        }
    }
}

}  // namespace cali
