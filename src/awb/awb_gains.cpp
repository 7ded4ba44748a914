#include "awb/awb_gains.h"

#include <array>
#include <optional>

#include "boundary/module_state.h"
#include "boundary/warning.h"
#include "core/arithmetic.h"
#include "core/channel.h"
#include "core/scratch.h"
#include "pictures/picture.h"

namespace cali::awb {
namespace {

constexpr float kTooBright = 2866.5F;  // 0.7 of full scale
constexpr float kTooDark = 614.25F;    // 0.15 of full scale
constexpr int32_t kPictureFullScale = 4096;

bool is_empty(const AwbRoi& window) { return window.width <= 0 || window.height <= 0; }

/// One running sum in row-major order: single precision makes the order part of the result.
float add_every_other(float sum, const uint32_t* samples, std::size_t first, std::size_t count) {
    for (std::size_t i = first; i < count; i += 2) {
        sum += static_cast<float>(samples[i]);
    }
    return sum;
}

/// Both sums of a row in one walk: the two chains of additions overlap.
void add_row(const uint32_t* samples, std::size_t count, float& even_sum, float& odd_sum) {
    float even = even_sum;
    float odd = odd_sum;
    std::size_t i = 0;
    for (; i + 2 <= count; i += 2) {
        even += static_cast<float>(samples[i]);
        odd += static_cast<float>(samples[i + 1]);
    }
    even_sum = add_every_other(even, samples, i, count);
    odd_sum = odd;
}

}  // namespace

WindowFault check_window(const AwbRoi& window, int32_t width, int32_t height) {
    const bool empty = is_empty(window);
    const auto outside = [empty](int64_t start, int64_t size, int64_t limit) {
        return start + size >= limit || (!empty && start < 0);
    };
    if (outside(window.x, window.width, width)) {
        return WindowFault::columns;
    }
    return outside(window.y, window.height, height) ? WindowFault::rows : WindowFault::none;
}

const char* window_text(WindowFault fault) {
    return fault == WindowFault::columns ? "ROI X,W is wrong" : "ROI Y,H  is wrong";
}

ColourSums measure_window(const ConstRawFrame& frame, const BlackLevel& black_level, const MeshGrids& grids,
                          const AwbRoi& window) {
    ColourSums sums;
    if (is_empty(window)) {
        print_whole_shading_progress(frame.empty() ? 0 : frame.height);
        return sums;
    }
    MeshShading shading(frame.width, frame.height, frame.pattern, grids, window.x, window.width);
    const Scratch<uint32_t> row(static_cast<std::size_t>(window.width));
    const BlackLevelStage black_level_stage(black_level, frame.pattern);
    const auto first_column = static_cast<uint32_t>(window.x);
    for (int32_t y = 0; y < frame.height; ++y) {
        print_shading_progress(y, frame.height);
        if (y < window.y || y - window.y >= window.height) {
            continue;
        }
        const auto row_index = static_cast<uint32_t>(y);
        black_level_stage.row(row_index, first_column, frame.row(y) + window.x, row.data(), row.size());
        shading.row(row_index, row.data(), row.data());
        const auto sum_of = [&](uint32_t column) -> float& {
            switch (bayer_channel(frame.pattern, row_index, column)) {
                case RR: return sums.red;
                case BB: return sums.blue;
                default: return sums.green;
            }
        };
        add_row(row.data(), row.size(), sum_of(first_column), sum_of(first_column + 1));
    }
    end_shading_progress();
    return sums;
}

GainRegisters gains_from_sums(const ColourSums& sums, const AwbRoi& window) {
    const int32_t samples = wrap_mul(window.width, window.height);
    const float mean_green = sums.green / static_cast<float>(samples / 2);
    const float mean_red = sums.red / static_cast<float>(samples / 4);
    const float mean_blue = sums.blue / static_cast<float>(samples / 4);
    if (mean_green > kTooBright) {
        warn(Family::wb, "Too Bright");
    }
    if (mean_green < kTooDark) {
        warn(Family::wb, "Too Dark");
    }
    return {wb_gain_register(mean_green, mean_red), 1024, wb_gain_register(mean_green, mean_blue)};
}

void correct_frame(const RawFrame& frame, const BlackLevel& black_level, const MeshGrids& grids, const WbGains& gains,
                   uint32_t* output) {
    if (frame.empty()) {
        return;
    }
    MeshShading shading(frame.width, frame.height, frame.pattern, grids);
    const BlackLevelStage black_level_stage(black_level, frame.pattern);
    const WbGainStage gain_stage(gains, frame.pattern);
    std::optional<OwnedPicture> picture;
    if (module_state().debug.awb_dump) {
        picture.emplace(frame.width, frame.height);
    }
    const RawFrame corrected{output, frame.width, frame.height, frame.pattern};
    const std::size_t count = frame.columns();
    for (int32_t y = 0; y < frame.height; ++y) {
        const auto row_index = static_cast<uint32_t>(y);
        uint32_t* const in = frame.row(y);
        uint32_t* const out = corrected.row(y);
        black_level_stage.row(row_index, 0, in, in, count);
        print_shading_progress(y, frame.height);
        shading.row(row_index, in, out);
        gain_stage.row(row_index, 0, out, out, count);
    }
    end_shading_progress();

    if (picture) {
        write_ppm_cells("_awb_in.ppm", picture->get(), frame, kPictureFullScale);
        write_ppm_cells("_awb_out.ppm", picture->get(), corrected, kPictureFullScale);
    }
}

}  // namespace cali::awb
