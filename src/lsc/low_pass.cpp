#include "lsc/low_pass.h"

#include <algorithm>
#include <cmath>

#include "core/reflect.h"
#include "kernels/row_kernels.h"

namespace cali::lsc {
namespace {

constexpr std::size_t kTaps = 2 * kLowPassRadius + 1;
constexpr std::size_t kRing = 32;  ///< rows in flight, a power of two above kTaps

/// One plane's filter. Output rows overwrite input rows that no output row needs any more.
class PlaneFilter {
public:
    PlaneFilter(int32_t width, int32_t height, const LowPassTaps& taps)
        : width_(width),
          height_(height),
          taps_(taps),
          line_(padded_row(static_cast<std::size_t>(width)) + 2 * kLowPassRadius),
          ring_(kRing * padded_row(static_cast<std::size_t>(width))),
          nowhere_(static_cast<std::size_t>(width)) {
        std::ranges::fill(line_.span(), 0.0F);
    }

    void run(int32_t* samples) {
        const auto columns = static_cast<std::size_t>(width_);
        int32_t filtered = 0;
        for (int32_t y = 0; y < height_; y += 2) {
            for (; filtered < std::min(y + kLowPassRadius + 2, height_); ++filtered) {
                along_row(samples + static_cast<std::size_t>(filtered) * columns, ring_row(filtered));
            }
            std::array<const float*, kTaps + 1> rows{};
            for (std::size_t k = 0; k < rows.size(); ++k) {
                rows[k] = ring_row(reflect(y + static_cast<int32_t>(k) - kLowPassRadius, height_));
            }
            int32_t* const first = samples + static_cast<std::size_t>(y) * columns;
            int32_t* const second = y + 1 < height_ ? first + columns : nowhere_.data();
            row_kernels().filter_to_ints({rows.data(), taps_.data(), kTaps}, first, second, columns);
        }
    }

private:
    [[nodiscard]] float* ring_row(int32_t y) const {
        return ring_.data() + (static_cast<std::size_t>(y) % kRing) * padded_row(static_cast<std::size_t>(width_));
    }

    void along_row(const int32_t* source, float* destination) {
        float* const first = line_.data() + kLowPassRadius;
        row_kernels().to_float(source, first, static_cast<std::size_t>(width_));
        for (int32_t k = 1; k <= kLowPassRadius; ++k) {
            first[-k] = first[reflect(-k, width_)];
            first[width_ - 1 + k] = first[reflect(width_ - 1 + k, width_)];
        }
        std::array<const float*, kTaps> rows{};
        for (std::size_t k = 0; k < kTaps; ++k) {
            rows[k] = line_.data() + k;
        }
        row_kernels().filter_to_floats({rows.data(), taps_.data(), kTaps}, destination,
                                       static_cast<std::size_t>(width_));
    }

    int32_t width_;
    int32_t height_;
    LowPassTaps taps_;
    Scratch<float> line_;  ///< a row with its reflections
    Scratch<float> ring_;
    Scratch<int32_t> nowhere_;  ///< takes the row after an odd last one
};

}  // namespace

LowPassTaps low_pass_taps() {
    LowPassTaps taps{};
    float sum = 0;
    for (std::size_t i = 0; i < kTaps; ++i) {
        const double k = static_cast<double>(i) - kLowPassRadius;
        taps[i] = static_cast<float>(std::exp(-0.5 * k * k * 0.0625) / (std::sqrt(6.2832) * 4.0));
        sum += taps[i];
    }
    for (float& tap : taps) {
        tap /= sum;
    }
    return taps;
}

void low_pass(const ChannelPlanes& planes, const LowPassTaps& taps) {
    if (planes.empty()) {
        return;
    }
    PlaneFilter filter(planes.width, planes.height, taps);
    for (const Scratch<int32_t>& plane : planes.samples) {
        filter.run(plane.data());
    }
}

}  // namespace cali::lsc
