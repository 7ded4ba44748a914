#include "stages/wb_gains.h"

#include "core/arithmetic.h"
#include "core/channel.h"
#include "kernels/row_kernels.h"

namespace cali {

uint16_t wb_gain_register(float green_mean, float mean) {
    return clamp_gain16(add_half_and_truncate(green_mean / mean * 1024.0F));
}

WbGainStage::WbGainStage(const WbGains& gains, int32_t pattern)
    : red_(static_cast<float>(gains.red) * 0.0009765625F),
      blue_(static_cast<float>(gains.blue) * 0.0009765625F),
      pattern_(pattern) {}

void WbGainStage::row(uint32_t y, uint32_t first_column, const uint32_t* source, uint32_t* destination,
                      std::size_t count) const {
    WbGainRow row{};
    for (uint32_t parity = 0; parity < 2; ++parity) {
        const Channel channel = bayer_channel(pattern_, y, first_column + parity);
        row.applied[parity] = channel == RR || channel == BB;
        row.gain[parity] = channel == RR ? red_ : blue_;
    }
    row_kernels().wb_gain(source, destination, count, row);
}

}  // namespace cali
