#include "core/histogram.h"

#include <algorithm>

namespace cali {
namespace {

/// Counts of one cell position, and a bin that takes what is out of range.
constexpr std::size_t kStride = Histogram::kBins + 1;

std::size_t bin_of(uint32_t sample) { return std::min(sample, Histogram::kBins); }

}  // namespace

Histogram::Histogram(const ConstRawFrame& frame) : counts_(std::size_t{kChannels} * kBins) {
    std::ranges::fill(counts_.span(), 0U);
    if (!frame.empty()) {
        if (frame.pattern < kBayerPatterns) {
            count_bayer(frame);
        } else {
            count_mosaic(frame);
        }
    }
}

/// Dark frames hold few values, so that neighbours keep hitting the same counter: the four cell positions, walked
/// together, count into tables of their own, and each has two to alternate between.
void Histogram::count_bayer(const ConstRawFrame& frame) {
    constexpr std::size_t kPositions = 4;
    constexpr std::size_t kTables = 2;
    const Scratch<uint32_t> tables(kPositions * kTables * kStride);
    std::ranges::fill(tables.span(), 0U);
    const auto table = [&](std::size_t position, std::size_t which) {
        return tables.data() + (position * kTables + which) * kStride;
    };
    const auto count_row = [&](const uint32_t* row, std::size_t first_position, std::size_t begin) {
        for (std::size_t x = begin; x < frame.columns(); ++x) {
            ++table(first_position + (x & 1U), 0)[bin_of(row[x])];
        }
    };
    uint32_t* const t[kPositions][kTables] = {
        {table(0, 0), table(0, 1)}, {table(1, 0), table(1, 1)}, {table(2, 0), table(2, 1)}, {table(3, 0), table(3, 1)}};
    for (int32_t y = 0; y < frame.height; y += 2) {
        const uint32_t* const top = frame.row(y);
        if (y + 1 == frame.height) {
            count_row(top, 0, 0);
            break;
        }
        const uint32_t* const bottom = frame.row(y + 1);
        std::size_t x = 0;
        for (; x + 4 <= frame.columns(); x += 4) {
            for (std::size_t k = 0; k < 4; ++k) {
                ++t[k & 1U][k >> 1U][bin_of(top[x + k])];
                ++t[2 + (k & 1U)][k >> 1U][bin_of(bottom[x + k])];
            }
        }
        count_row(top, 0, x);
        count_row(bottom, 2, x);
    }
    for (std::size_t position = 0; position < kPositions; ++position) {
        const Channel channel =
            bayer_channel(frame.pattern, static_cast<uint32_t>(position >> 1U), static_cast<uint32_t>(position & 1U));
        for (std::size_t bin = 0; bin < kBins; ++bin) {
            counts_[channel * kBins + bin] = t[position][0][bin] + t[position][1][bin];
        }
    }
}

void Histogram::count_mosaic(const ConstRawFrame& frame) {
    for (int32_t y = 0; y < frame.height; ++y) {
        const uint32_t* const row = frame.row(y);
        for (int32_t x = 0; x < frame.width; ++x) {
            const uint32_t code = channel_of(static_cast<uint32_t>(y), static_cast<uint32_t>(x), frame.pattern);
            if (code < kChannels && row[x] < kBins) {
                ++counts_[code * kBins + row[x]];
            }
        }
    }
}

}  // namespace cali
