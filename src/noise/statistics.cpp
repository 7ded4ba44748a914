#include "noise/statistics.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "core/arithmetic.h"

namespace cali::noise {
namespace {

// The four cell positions are the four lanes of a vector: two columns of an even row and of the odd row below. Each
// lane adds its samples in their order, so the bits are those of four running sums. One addition waits for the one
// before it; several levels at a time fill the wait.
constexpr int32_t kLevelsTogether = 4;

using Sums = std::array<float, kCellPositions>;

/// One level's running sums.
struct Lanes {
    __m128 value;
};
using LevelLanes = std::array<Lanes, kLevelsTogether>;

/// (float)sample for unsigned samples. From 2^31 on by halves: both are exact, their sum rounds once.
__m128 to_floats(__m128i samples) {
    if (_mm_movemask_ps(_mm_castsi128_ps(samples)) == 0) {
        return _mm_cvtepi32_ps(samples);
    }
    const __m128 high = _mm_cvtepi32_ps(_mm_srli_epi32(samples, 16));
    const __m128 low = _mm_cvtepi32_ps(_mm_and_si128(samples, _mm_set1_epi32(0xFFFF)));
    return _mm_add_ps(_mm_mul_ps(high, _mm_set1_ps(65536.0F)), low);
}

struct AddSample {
    __m128 operator()(__m128 sum, __m128 sample) const { return _mm_add_ps(sum, sample); }
};

struct AddSquaredDeviation {
    __m128 mean;
    __m128 operator()(__m128 sum, __m128 sample) const {
        const __m128 deviation = _mm_sub_ps(sample, mean);
        return _mm_add_ps(sum, _mm_mul_ps(deviation, deviation));
    }
};

/// Adds what a cut-off cell has: absent samples add 0, which changes no sum.
template <typename Add>
__m128 add_part(__m128 sum, const Add& add, const uint32_t* upper, const uint32_t* lower, bool two_columns) {
    alignas(16) std::array<uint32_t, kCellPositions> cell = {upper[0], two_columns ? upper[1] : 0, 0, 0};
    alignas(16) std::array<uint32_t, kCellPositions> present = {~0U, two_columns ? ~0U : 0U, 0, 0};
    if (lower != nullptr) {
        cell[2] = lower[0];
        cell[3] = two_columns ? lower[1] : 0;
        present[2] = present[0];
        present[3] = present[1];
    }
    const __m128i samples = _mm_load_si128(reinterpret_cast<const __m128i*>(cell.data()));
    const __m128 mask = _mm_castsi128_ps(_mm_load_si128(reinterpret_cast<const __m128i*>(present.data())));
    const __m128 added = add(sum, to_floats(samples));
    return _mm_or_ps(_mm_and_ps(mask, added), _mm_andnot_ps(mask, sum));
}

/// One frame of each of `levels` levels.
template <int32_t levels, typename Add>
void add_frames(const std::array<const uint32_t*, kLevelsTogether>& frames, int32_t width, int32_t height,
                const std::array<Add, kLevelsTogether>& add, LevelLanes& sums) {
    std::array<Lanes, levels> sum;
    std::copy_n(sums.begin(), levels, sum.begin());
    const auto columns = static_cast<std::size_t>(width);
    for (int32_t y = 0; y < height; y += 2) {
        const std::size_t row = static_cast<std::size_t>(y) * columns;
        const bool whole = y + 1 < height;
        std::size_t x = 0;
        for (; whole && x + 4 <= columns; x += 4) {
            for (std::size_t k = 0; k < levels; ++k) {
                const uint32_t* const upper = frames[k] + row + x;
                const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(upper));
                const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(upper + columns));
                sum[k].value = add[k](sum[k].value, to_floats(_mm_unpacklo_epi64(a, b)));
                sum[k].value = add[k](sum[k].value, to_floats(_mm_unpackhi_epi64(a, b)));
            }
        }
        for (; x < columns; x += 2) {
            for (std::size_t k = 0; k < levels; ++k) {
                const uint32_t* const upper = frames[k] + row + x;
                sum[k].value =
                    add_part(sum[k].value, add[k], upper, whole ? upper + columns : nullptr, x + 1 < columns);
            }
        }
    }
    std::ranges::copy(sum, sums.begin());
}

/// All frames of up to kLevelsTogether levels from `first` on.
template <typename Add>
std::array<Sums, kLevelsTogether> sum_levels(const Series& series, int32_t first, int32_t levels,
                                             const std::array<Add, kLevelsTogether>& add) {
    LevelLanes sums;
    sums.fill({_mm_setzero_ps()});
    for (int32_t j = 0; j < series.nframes; ++j) {
        std::array<const uint32_t*, kLevelsTogether> frames{};
        for (int32_t k = 0; k < levels; ++k) {
            frames[static_cast<std::size_t>(k)] = series.frame(first + k, j);
        }
        switch (levels) {
            case 1: add_frames<1>(frames, series.width, series.height, add, sums); break;
            case 2: add_frames<2>(frames, series.width, series.height, add, sums); break;
            case 3: add_frames<3>(frames, series.width, series.height, add, sums); break;
            default: add_frames<4>(frames, series.width, series.height, add, sums); break;
        }
    }
    std::array<Sums, kLevelsTogether> result;
    for (std::size_t k = 0; k < result.size(); ++k) {
        _mm_storeu_ps(result[k].data(), sums[k].value);
    }
    return result;
}

float sum_at(const Sums& sums, std::size_t position) { return position < sums.size() ? sums[position] : 0.0F; }

}  // namespace

void measure_series(const Series& series, Spread spread, std::span<float* const> means,
                    std::span<float* const> spreads) {
    const auto positions = static_cast<int32_t>(means.size());
    const int32_t samples = wrap_mul(wrap_mul(series.width, series.height), series.nframes) / positions;
    for (int32_t first = 0; first < series.count; first += kLevelsTogether) {
        const int32_t levels = std::min(kLevelsTogether, series.count - first);
        const auto sums = sum_levels(series, first, levels, std::array<AddSample, kLevelsTogether>{});
        std::array<AddSquaredDeviation, kLevelsTogether> deviations;
        for (int32_t k = 0; k < levels; ++k) {
            const auto level = static_cast<std::size_t>(k);
            Sums mean{};
            for (std::size_t c = 0; c < means.size(); ++c) {
                const float value = sum_at(sums[level], c) / static_cast<float>(samples);
                means[c][first + k] = value;
                if (c < mean.size()) {
                    mean[c] = value;
                }
            }
            deviations[level].mean = _mm_loadu_ps(mean.data());
        }
        const auto squares = sum_levels(series, first, levels, deviations);
        for (int32_t k = 0; k < levels; ++k) {
            for (std::size_t c = 0; c < spreads.size(); ++c) {
                const float variance =
                    sum_at(squares[static_cast<std::size_t>(k)], c) / static_cast<float>(wrap_sub(samples, 1));
                spreads[c][first + k] = spread == Spread::variance ? variance : std::sqrt(variance);
            }
        }
    }
}

}  // namespace cali::noise
