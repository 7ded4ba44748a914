#include "awb/awb_gains.h"

#include <optional>

#include "core/arithmetic.h"
#include "core/channel.h"
#include "core/scratch.h"

namespace cali::awb {
namespace {

bool is_empty(const AwbRoi& window) { return window.width <= 0 || window.height <= 0; }

/// Both sums of a row in one walk: the two chains of additions overlap. Single precision makes their order part of the
/// result. Windows are of even width.
void add_row(const uint32_t* samples, std::size_t count, float& even_sum, float& odd_sum) {
    float even = even_sum;
    float odd = odd_sum;
    for (std::size_t i = 0; i < count; i += 2) {
        even += static_cast<float>(samples[i]);
        odd += static_cast<float>(samples[i + 1]);
    }
    even_sum = even;
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

ColourSums measure_window(const ConstRawFrame& frame, const FrontEnd& front_end, const AwbRoi& window,
                          RowObserver& observer) {
    ColourSums sums;
    if (frame.empty()) {
        return sums;
    }
    std::optional<FrontEndRows> rows;
    Scratch<uint32_t> samples;
    if (!is_empty(window)) {
        rows.emplace(frame, front_end);
        rows->set_columns(window.x, window.width);
        samples = Scratch<uint32_t>(static_cast<std::size_t>(window.width));
    }
    const auto first_column = static_cast<uint32_t>(window.x);
    for (int32_t y = 0; y < frame.height; ++y) {
        observer.row_begins(y);
        if (!rows || y < window.y || y - window.y >= window.height) {
            continue;
        }
        rows->row(y, frame.row(y) + window.x, samples.data());
        const auto sum_of = [&](uint32_t column) -> float& {
            switch (bayer_channel(frame.pattern, static_cast<uint32_t>(y), column)) {
                case RR: return sums.red;
                case BB: return sums.blue;
                default: return sums.green;
            }
        };
        add_row(samples.data(), samples.size(), sum_of(first_column), sum_of(first_column + 1));
    }
    observer.rows_end();
    return sums;
}

ColourMeans means_of(const ColourSums& sums, const AwbRoi& window) {
    const int32_t samples = wrap_mul(window.width, window.height);
    return {sums.red / static_cast<float>(samples / 4), sums.green / static_cast<float>(samples / 2),
            sums.blue / static_cast<float>(samples / 4)};
}

GainRegisters gains_from_means(const ColourMeans& means) {
    return {wb_gain_register(means.green, means.red), 1024, wb_gain_register(means.green, means.blue)};
}

void correct_frame(const RawFrame& frame, const BlackLevel& black_level, const MeshGrids& grids, const WbGains& gains,
                   uint32_t* output, RowObserver& observer) {
    FrontEnd in_place;
    in_place.black_level = black_level;
    FrontEnd into_output;
    into_output.mesh = grids;
    into_output.wb_gains = gains;
    FrontEndRows black_rows(frame, in_place);
    FrontEndRows rows(frame, into_output);
    const RawFrame corrected{output, frame.width, frame.height, frame.pattern};
    for (int32_t y = 0; y < frame.height; ++y) {
        black_rows.row(y, frame.row(y), frame.row(y));
        observer.row_begins(y);
        rows.row(y, frame.row(y), corrected.row(y));
    }
    observer.rows_end();
}

}  // namespace cali::awb
