#include "blc/estimators.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/arithmetic.h"

namespace cali::blc {
namespace {

/// Walks the frame once and hands every sample of a cell position to that position's accumulator, row-major within
/// it. Positions are in distinct channels, so walking two rows together keeps every channel's order; the four chains
/// of dependent additions overlap.
template <typename Accumulator>
void walk_positions(const ConstRawFrame& frame, std::array<Accumulator, 4>& positions) {
    std::array<Accumulator, 4> p = positions;
    const std::size_t columns = frame.columns();
    for (int32_t y = 0; y < frame.height; y += 2) {
        const uint32_t* const top = frame.row(y);
        const bool has_bottom = y + 1 < frame.height;
        const uint32_t* const bottom = has_bottom ? frame.row(y + 1) : nullptr;
        std::size_t x = 0;
        if (has_bottom) {
            for (; x + 2 <= columns; x += 2) {
                p[0].add(top[x]);
                p[1].add(top[x + 1]);
                p[2].add(bottom[x]);
                p[3].add(bottom[x + 1]);
            }
        }
        for (; x < columns; ++x) {
            p[x & 1U].add(top[x]);
            if (has_bottom) {
                p[2 + (x & 1U)].add(bottom[x]);
            }
        }
    }
    positions = p;
}

template <typename Accumulator>
void walk_mosaic(const ConstRawFrame& frame, PerChannel<Accumulator>& channels) {
    for (int32_t y = 0; y < frame.height; ++y) {
        for (int32_t x = 0; x < frame.width; ++x) {
            const uint32_t code = channel_of(static_cast<uint32_t>(y), static_cast<uint32_t>(x), frame.pattern);
            if (code < kChannels) {
                channels[code].add(frame.row(y)[x]);
            }
        }
    }
}

struct FloatSum {
    uint32_t count = 0;
    float sum = 0;
    void add(uint32_t sample) {
        ++count;
        sum += static_cast<float>(sample);
    }
};

struct WrappingSum {
    uint32_t sum = 0;
    void add(uint32_t sample) { sum += sample; }
};

struct SquaredDeviations {
    float mean = 0;
    float sum = 0;
    void add(uint32_t sample) {
        const float deviation = static_cast<float>(sample) - mean;
        sum += deviation * deviation;
    }
};

/// Runs one accumulator per channel; `start` gives the accumulator of a channel code.
template <typename Accumulator, typename Start>
PerChannel<Accumulator> accumulate(const ConstRawFrame& frame, Start start) {
    PerChannel<Accumulator> result;
    if (frame.pattern >= kBayerPatterns) {
        for (std::size_t code = 0; code < kChannels; ++code) {
            result[code] = start(static_cast<Channel>(code));
        }
        walk_mosaic(frame, result);
        return result;
    }
    std::array<Channel, 4> channel{};
    std::array<Accumulator, 4> positions;
    for (uint32_t p = 0; p < 4; ++p) {
        channel[p] = bayer_channel(frame.pattern, p >> 1U, p & 1U);
        positions[p] = start(channel[p]);
    }
    if (!frame.empty()) {
        walk_positions(frame, positions);
    }
    for (std::size_t p = 0; p < 4; ++p) {
        result[channel[p]] = positions[p];
    }
    return result;
}

uint32_t offset_of_mean(float mean) { return static_cast<uint32_t>(add_half_and_truncate(static_cast<double>(mean))); }

/// One axis of the block walk: the last block takes what remains, and its size stays.
uint32_t next_block(uint32_t remaining, uint32_t& size) {
    if (remaining < 2 * size) {
        size = remaining;
    }
    return size;
}

}  // namespace

uint32_t median_target(int32_t samples, int32_t pattern, std::size_t code) {
    const int32_t quarter = samples / 4;
    if (pattern < kBayerPatterns || code == GR) {
        return static_cast<uint32_t>(quarter / 2);
    }
    return static_cast<uint32_t>(code == GB ? quarter : quarter / 2 / 2);
}

int32_t mean_count(int32_t samples, int32_t pattern, std::size_t code) {
    if (pattern < kBayerPatterns || code == GR) {
        return samples / 4;
    }
    return code == GB ? samples / 2 : samples / 8;
}

PerChannel<int32_t> channel_medians(const Histogram& histogram, std::size_t samples, int32_t pattern) {
    PerChannel<int32_t> medians;
    for (std::size_t code = 0; code < kChannels; ++code) {
        const uint32_t target = median_target(static_cast<int32_t>(samples), pattern, code);
        uint32_t running = 0;
        for (uint32_t bin = 0; bin < Histogram::kBins; ++bin) {
            running += histogram.channel(code)[bin];
            if (running >= target) {
                medians[code] = static_cast<int32_t>(bin);
                break;
            }
        }
    }
    return medians;
}

PerChannel<float> channel_means(const ConstRawFrame& frame) {
    const auto sums = accumulate<FloatSum>(frame, [](Channel) { return FloatSum{}; });
    PerChannel<float> means;
    for (std::size_t code = 0; code < kChannels; ++code) {
        means[code] = sums[code].sum / static_cast<float>(sums[code].count);
    }
    return means;
}

PerChannel<int32_t> means_plus_deviation(const ConstRawFrame& frame) {
    const auto samples = static_cast<int32_t>(frame.size());
    const auto sums = accumulate<WrappingSum>(frame, [](Channel) { return WrappingSum{}; });
    PerChannel<float> means;
    for (std::size_t code = 0; code < kChannels; ++code) {
        means[code] = static_cast<float>(sums[code].sum) / static_cast<float>(mean_count(samples, frame.pattern, code));
    }
    const auto deviations =
        accumulate<SquaredDeviations>(frame, [&](Channel code) { return SquaredDeviations{means[code]}; });
    // A quarter of the samples, whatever the mosaic.
    const auto quarter = static_cast<float>(samples / 4);
    PerChannel<int32_t> result;
    for (std::size_t code = 0; code < kChannels; ++code) {
        const float deviation = std::sqrt(deviations[code].sum / quarter);
        result[code] = add_half_and_truncate(deviation * 0.1F + means[code]);
    }
    return result;
}

void block_offsets(const ConstRawFrame& frame, uint32_t block_width, uint32_t block_height,
                   const std::array<std::span<uint32_t>, 4>& offsets) {
    const auto plane_width = static_cast<uint32_t>(frame.width) / 2;
    const auto plane_height = static_cast<uint32_t>(frame.height) / 2;
    for (const std::span<uint32_t>& position : offsets) {
        std::ranges::fill(position, 0U);
    }
    std::size_t visited = 0;
    for (uint32_t y = 0; y < plane_height; y += block_height) {
        next_block(plane_height - y, block_height);
        for (uint32_t x = 0; x < plane_width; x += block_width) {
            next_block(plane_width - x, block_width);
            if (visited == offsets[0].size()) {
                return;
            }
            std::array<float, 4> sums{};  // each addition waits for its position's last one, not for the others'
            for (uint32_t r = y; r < y + block_height; ++r) {
                const uint32_t* const top = frame.row(static_cast<int32_t>(2 * r));
                const uint32_t* const bottom = frame.row(static_cast<int32_t>(2 * r + 1));
                for (uint32_t c = 2 * x; c < 2 * (x + block_width); c += 2) {
                    sums[0] += static_cast<float>(top[c]);
                    sums[1] += static_cast<float>(top[c + 1]);
                    sums[2] += static_cast<float>(bottom[c]);
                    sums[3] += static_cast<float>(bottom[c + 1]);
                }
            }
            for (std::size_t p = 0; p < sums.size(); ++p) {
                offsets[p][visited] = offset_of_mean(sums[p] / static_cast<float>(block_width * block_height));
            }
            ++visited;
        }
    }
}

}  // namespace cali::blc
