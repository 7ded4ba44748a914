#include "checks/grey_checks.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "checks/window_statistics.h"
#include "core/channel.h"
#include "library/front_end.h"

namespace cali::host {
namespace {

constexpr int kMostBlocks = 8;   ///< of the window, either way
constexpr int kLeastBlock = 16;  ///< photosites along a block's side

/// % of each channel's samples at the white level.
Channels<double> clipped_shares(const Capture& grey, const RoiRect& window) {
    const uint32_t full_scale = full_scale_code(grey.sensor);
    Channels<double> clipped{};
    for (int32_t y = window.y; y < window.y + window.h; ++y) {
        const uint32_t* const row = grey.view().row(y);
        for (int32_t x = window.x; x < window.x + window.w; ++x) {
            const Channel channel =
                bayer_channel(grey.sensor.pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            clipped[RR - channel] += row[x] >= full_scale ? 1 : 0;
        }
    }
    const double channel_samples = static_cast<double>(window.w) * window.h / 4;
    for (double& share : clipped) {
        share *= 100 / channel_samples;
    }
    return clipped;
}

/// Scatter of the blocks' means of one channel over what the samples' noise makes of it.
double scatter(const std::vector<Channels<ChannelStatistics>>& blocks, std::size_t channel, double least_noise) {
    const auto count = static_cast<double>(blocks.size());
    double mean = 0;
    double squares = 0;
    double expected = 0;
    for (const Channels<ChannelStatistics>& block : blocks) {
        const ChannelStatistics& found = block[channel];
        const double noise = std::max(found.noise, least_noise);
        mean += found.mean / count;
        squares += found.mean * found.mean / count;
        expected += noise * noise / found.samples / count;
    }
    return std::sqrt(std::max(squares - mean * mean, 0.0) * count / (count - 1) / expected);
}

}  // namespace

void check_grey(const Capture& grey, const TuningValues& values, const Window& window, Judge& judge) {
    const RoiRect roi{window.x & ~1, window.y & ~1, window.width & ~1, window.height & ~1};
    if (!window_fits(roi, grey.sensor.width, grey.sensor.height)) {
        return;
    }
    require_shadeable(grey);
    const Channels<double> clipped = clipped_shares(grey, roi);
    const auto most_clipped = std::ranges::max_element(clipped);
    judge.hold(Check::grey_clipped, *most_clipped,
               *most_clipped > 0 ? kChannelKeys[static_cast<std::size_t>(most_clipped - clipped.begin())] : "");

    FrontEnd front_end = front_end_of(values);
    front_end.wb_gains.reset();
    FrontEndRows rows(grey.view(), front_end);
    const auto blocks_of = [](int side) { return std::clamp(side / kLeastBlock, 1, kMostBlocks); };
    const int across = blocks_of(roi.w);
    const int down = blocks_of(roi.h);
    const int width = roi.w / across & ~1;
    const int height = roi.h / down & ~1;
    std::vector<Channels<ChannelStatistics>> blocks;
    for (int row = 0; row < down; ++row) {
        for (int col = 0; col < across; ++col) {
            blocks.push_back(
                measure_window(grey.view(), rows, {roi.x + col * width, roi.y + row * height, width, height}));
        }
    }
    Channels<double> level{};
    for (const Channels<ChannelStatistics>& block : blocks) {
        for (std::size_t c = 0; c < level.size(); ++c) {
            level[c] += block[c].mean / static_cast<double>(blocks.size());
        }
    }
    const auto dimmest = static_cast<std::size_t>(std::ranges::min_element(level) - level.begin());
    judge.hold(Check::grey_level, level[dimmest], kChannelKeys[dimmest]);
    if (blocks.size() < 4) {
        return;
    }
    const double least_noise = code_step(grey.sensor.bits) / std::sqrt(12.0);
    Channels<double> uneven{};
    for (std::size_t c = 0; c < uneven.size(); ++c) {
        uneven[c] = scatter(blocks, c, least_noise);
    }
    const auto worst = static_cast<std::size_t>(std::ranges::max_element(uneven) - uneven.begin());
    judge.hold(Check::grey_uniformity, uneven[worst], kChannelKeys[worst]);
}

}  // namespace cali::host
