#include "noise/profile.h"

#include <algorithm>
#include <vector>

#include "core/arithmetic.h"
#include "kernels/row_kernels.h"
#include "kernels/sample_math.h"

namespace cali::noise {
namespace {

constexpr int32_t kMosaics = 20;  ///< of the extended lookup

uint32_t black_of(uint32_t code, const SeriesBlack& black) {
    return code == BB ? black.bb : code == GB ? black.gb : black.gr_rr;
}

void subtract_from_bayer_frame(uint32_t* frame, const Series& series, int32_t pattern, const SeriesBlack& black) {
    for (int32_t y = 0; y < series.height; ++y, frame += series.columns()) {
        const auto row = static_cast<uint32_t>(y);
        const Alternating<uint32_t> offsets = {black_of(bayer_channel(pattern, row, 0), black),
                                               black_of(bayer_channel(pattern, row, 1), black)};
        row_kernels().subtract_limited(frame, frame, series.columns(), offsets);
    }
}

/// `offset` is carried from sample to sample, also into the next frame.
void subtract_from_other_frame(uint32_t* frame, const Series& series, int32_t pattern, const SeriesBlack& black,
                               uint32_t& offset) {
    const bool known = pattern >= 0 && pattern < kMosaics;
    for (int32_t y = 0; y < series.height; ++y) {
        for (int32_t x = 0; x < series.width; ++x, ++frame) {
            const uint32_t code =
                known ? channel_of(static_cast<uint32_t>(y), static_cast<uint32_t>(x), pattern) : kChannels;
            if (code < kChannels) {
                offset = black_of(code, black);
            }
            *frame = sample::subtract_limited(*frame, offset);
        }
    }
}

}  // namespace

Line fit_line(std::span<const float> x, std::span<const float> y) {
    float sum_x = 0;
    float sum_xx = 0;
    float sum_y = 0;
    float sum_xy = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        sum_x += x[i];
        sum_xx += x[i] * x[i];
        sum_y += y[i];
        sum_xy += x[i] * y[i];
    }
    const auto n = static_cast<float>(x.size());
    const float determinant = n * sum_xx - sum_x * sum_x;
    return {(n * sum_xy - sum_y * sum_x) / determinant, (sum_y * sum_xx - sum_xy * sum_x) / determinant};
}

void subtract_black(const Series& series, int32_t pattern, const SeriesBlack& black) {
    uint32_t carried = 0;
    for (int32_t k = 0; k < series.count; ++k) {
        for (int32_t j = 0; j < series.nframes; ++j) {
            if (pattern >= 0 && pattern < kBayerPatterns) {
                subtract_from_bayer_frame(series.frame(k, j), series, pattern, black);
            } else {
                subtract_from_other_frame(series.frame(k, j), series, pattern, black, carried);
            }
        }
    }
}

PerChannel<Line> fit_profile(const Series& series, int32_t pattern, const SeriesBlack& black, Spread spread) {
    const auto count = static_cast<std::size_t>(std::max(series.count, 0));
    std::array<std::vector<float>, kCellPositions> means;
    std::array<std::vector<float>, kCellPositions> spreads;
    std::array<float*, kCellPositions> mean_pointers{};
    std::array<float*, kCellPositions> spread_pointers{};
    for (std::size_t c = 0; c < kCellPositions; ++c) {
        means[c].resize(count);
        spreads[c].resize(count);
        mean_pointers[c] = means[c].data();
        spread_pointers[c] = spreads[c].data();
    }
    const std::vector<float> nothing(count);
    subtract_black(series, pattern, black);
    measure_series(series, spread, mean_pointers, spread_pointers);
    PerChannel<Line> lines;
    lines.value.fill(fit_line(nothing, nothing));
    if (pattern >= 0 && pattern < kBayerPatterns) {
        for (uint32_t position = 0; position < kCellPositions; ++position) {
            lines[bayer_channel(pattern, position >> 1U, position & 1U)] = fit_line(means[position], spreads[position]);
        }
    }
    return lines;
}

}  // namespace cali::noise
