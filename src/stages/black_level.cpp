#include "stages/black_level.h"

#include <algorithm>
#include <cmath>

#include "kernels/row_kernels.h"
#include "kernels/sample_math.h"

namespace cali {

BlackLevelStage::BlackLevelStage(const BlackLevel& parameters, int32_t pattern)
    : parameters_(parameters),
      pattern_(pattern),
      vectorised_(
          std::ranges::all_of(parameters.gain.value, [](float gain) { return std::isfinite(gain) && gain >= 0.0F; })) {}

void BlackLevelStage::row(uint32_t y, uint32_t first_column, const uint32_t* source, uint32_t* destination,
                          std::size_t count) const {
    const Channel even = bayer_channel(pattern_, y, first_column);
    const Channel odd = bayer_channel(pattern_, y, first_column + 1);
    const BlackLevelRow row{{parameters_.offset[even], parameters_.offset[odd]},
                            {parameters_.gain[even], parameters_.gain[odd]}};
    if (vectorised_) {
        row_kernels().black_level(source, destination, count, row);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        destination[i] = sample::black_level(source[i], row.offset[i & 1], row.gain[i & 1]);
    }
}

void apply_black_level(const RawFrame& frame, const BlackLevel& parameters) {
    for (int32_t y = 0; y < frame.height; ++y) {
        uint32_t* const row = frame.row(y);
        for (int32_t x = 0; x < frame.width; ++x) {
            const uint32_t code = channel_of(static_cast<uint32_t>(y), static_cast<uint32_t>(x), frame.pattern);
            if (code < kChannels) {
                row[x] = sample::black_level(row[x], parameters.offset[code], parameters.gain[code]);
            }
        }
    }
}

}  // namespace cali
