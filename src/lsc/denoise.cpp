#include "lsc/denoise.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/scratch.h"
#include "kernels/row_kernels.h"
#include "kernels/sample_math.h"

namespace cali::lsc {
namespace {

constexpr std::size_t kBins = 4096;
using Histogram = std::array<uint32_t, kBins>;

Histogram count_codes(const Plane& plane) {
    // Neighbours are often equal; four tables keep their increments from waiting for each other.
    std::array<Histogram, 4> tables{};
    const std::size_t size = plane.size();
    for (std::size_t i = 0; i < size; ++i) {
        const auto code = static_cast<uint32_t>(plane.samples[i]);
        if (code < kBins) {
            ++tables[i % tables.size()][code];
        }
    }
    Histogram histogram{};
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        histogram[bin] = tables[0][bin] + tables[1][bin] + tables[2][bin] + tables[3][bin];
    }
    return histogram;
}

std::size_t otsu_threshold(const Histogram& histogram) {
    double count = 0;
    for (const uint32_t bin : histogram) {
        count += bin;
    }
    double mean_of_all = 0;
    for (std::size_t i = 0; i < kBins; ++i) {
        mean_of_all += static_cast<double>(i) * (histogram[i] / count);
    }
    std::size_t best = 0;
    double best_variance = 0;
    double weight = 0;
    double mean = 0;
    for (std::size_t t = 0; t < kBins; ++t) {
        const double share = histogram[t] / count;
        weight += share;
        mean += static_cast<double>(t) * share;
        if (weight == 0) {
            continue;
        }
        if (1.0 - weight == 0) {
            break;
        }
        const double distance = mean / weight - (mean_of_all - mean) / (1.0 - weight);
        const double variance = weight * (1.0 - weight) * (distance * distance);
        if (variance > best_variance) {
            best_variance = variance;
            best = t;
        }
    }
    return best;
}

constexpr int32_t kGaussianRadius = 4;
constexpr int32_t kGaussianSide = 2 * kGaussianRadius + 1;
constexpr std::size_t kGaussianTerms = std::size_t{kGaussianSide} * kGaussianSide;

/// Row-major over the neighbourhood, as the sums run.
std::array<float, kGaussianTerms> gaussian_weights(float sigma) {
    std::array<float, kGaussianTerms> weights{};
    std::size_t i = 0;
    for (int32_t dy = -kGaussianRadius; dy <= kGaussianRadius; ++dy) {
        for (int32_t dx = -kGaussianRadius; dx <= kGaussianRadius; ++dx) {
            const float exponent = static_cast<float>(-(dx * dx + dy * dy)) / (2.0F * sigma * sigma);
            weights[i++] = static_cast<float>(std::exp(static_cast<double>(exponent)));
        }
    }
    return weights;
}

/// The part of the neighbourhood that lies inside a line of `size` at `i`.
struct Reach {
    int32_t first;
    int32_t last;

    Reach(int32_t i, int32_t size)
        : first(std::max(-kGaussianRadius, -i)), last(std::min(kGaussianRadius, size - 1 - i)) {}
    bool operator==(const Reach&) const = default;
};

float sum_of_weights(const std::array<float, kGaussianTerms>& weights, const Reach& rows, const Reach& columns) {
    float sum = 0;
    for (int32_t dy = rows.first; dy <= rows.last; ++dy) {
        const float* const row = weights.data() + (dy + kGaussianRadius) * kGaussianSide + kGaussianRadius;
        for (int32_t dx = columns.first; dx <= columns.last; ++dx) {
            sum += row[dx];
        }
    }
    return sum;
}

constexpr int32_t kSearch = 80;  ///< samples to either side
constexpr int32_t kSearchWindow = 2 * kSearch + 1;
constexpr int16_t kNoKey = sample::kFullScale;

/// keys[i] becomes the smallest of keys[i .. i + kSearchWindow - 1]; `count` results.
void smallest_ahead(int16_t* keys, std::size_t count) {
    std::size_t covered = 1;
    while (covered * 2 <= kSearchWindow) {
        row_kernels().smaller(keys, keys + covered, keys, count + kSearchWindow - 2 * covered);
        covered *= 2;
    }
    row_kernels().smaller(keys, keys + (kSearchWindow - covered), keys, count);
}

/// The smallest key of the window around each row, column by column, for rows in ascending order. Rows are cut into
/// blocks of the window's length, so that a window is the end of one block and the start of the next, each with a
/// running minimum from the cut (M. van Herk, "A fast algorithm for local minimum and maximum filters on rectangular
/// and octagonal kernels", 1992).
class ColumnMinimum {
public:
    ColumnMinimum(const Plane& plane, int32_t threshold)
        : plane_(plane),
          threshold_(threshold),
          block_(kSearchWindow * plane.columns()),
          next_block_(plane.columns()),
          result_(plane.columns()) {
        for (int32_t i = 0; i < kSearchWindow; ++i) {
            read_keys(i - kSearch, block_row(i));
        }
        run_to_block_end();
    }

    /// Row `y`, from 0 on. Reads the plane's row y + kSearch.
    const int16_t* row(int32_t y) {
        const int32_t place = y % kSearchWindow;
        if (y == 0) {
            return block_row(0);
        }
        // The next block's keys take the places of rows that no window needs any more.
        int16_t* const keys = block_row((place + kSearchWindow - 1) % kSearchWindow);
        read_keys(y + kSearch, keys);
        if (place == 0) {
            run_to_block_end();
            return block_row(0);
        }
        const std::size_t columns = plane_.columns();
        row_kernels().smaller(next_block_.data(), keys, next_block_.data(), columns);
        row_kernels().smaller(next_block_.data(), block_row(place), result_.data(), columns);
        return result_.data();
    }

private:
    [[nodiscard]] int16_t* block_row(int32_t i) const {
        return block_.data() + static_cast<std::size_t>(i) * plane_.columns();
    }

    void read_keys(int32_t y, int16_t* keys) const {
        if (y < 0 || y >= plane_.height) {
            std::fill_n(keys, plane_.columns(), kNoKey);
        } else {
            row_kernels().bright_keys(plane_.row(y), threshold_, keys, plane_.columns());
        }
    }

    void run_to_block_end() {
        for (int32_t i = kSearchWindow - 1; i > 0; --i) {
            row_kernels().smaller(block_row(i - 1), block_row(i), block_row(i - 1), plane_.columns());
        }
        std::ranges::fill(next_block_.span(), kNoKey);
    }

    Plane plane_;
    int32_t threshold_;
    Scratch<int16_t> block_;       ///< smallest from a row to its block's end; before `place`, keys of the next block
    Scratch<int16_t> next_block_;  ///< smallest from the next block's start
    Scratch<int16_t> result_;
};

}  // namespace

int32_t lsc_bright_threshold(const Plane& plane, double fraction) {
    const Histogram histogram = count_codes(plane);
    const std::size_t otsu = otsu_threshold(histogram);
    uint64_t total = 0;
    for (std::size_t bin = otsu; bin < kBins; ++bin) {
        total += histogram[bin];
    }
    uint64_t below = 0;
    for (std::size_t bin = otsu; bin < kBins; ++bin) {
        below += histogram[bin];
        if (static_cast<double>(below) / static_cast<double>(total) > fraction) {
            return static_cast<int32_t>(bin);
        }
    }
    return static_cast<int32_t>(otsu);
}

void lsc_masked_gaussian(const Plane& plane, int32_t threshold, float sigma) {
    const std::size_t columns = plane.columns();
    const std::size_t stride = padded_row(columns) + 2 * kGaussianRadius;
    // Rows and columns outside the plane are zeros: they add nothing to a sum.
    const Scratch<float> rows((kGaussianSide + 1) * stride);
    std::ranges::fill(rows.span(), 0.0F);
    float* const outside = rows.data() + kGaussianSide * stride;
    const auto ring_row = [&](int32_t y) {
        return y < 0 || y >= plane.height ? outside
                                          : rows.data() + static_cast<std::size_t>(y % kGaussianSide) * stride;
    };
    const auto read_row = [&](int32_t y) {
        if (y < plane.height) {
            row_kernels().to_float(plane.row(y), ring_row(y) + kGaussianRadius, columns);
        }
    };
    for (int32_t y = 0; y < kGaussianRadius; ++y) {
        read_row(y);
    }

    const std::array<float, kGaussianTerms> weights = gaussian_weights(sigma);
    const Scratch<float> weight_sums(padded_row(columns));
    std::ranges::fill(weight_sums.span(), 1.0F);
    std::array<const float*, kGaussianTerms> terms{};
    for (int32_t y = 0; y < plane.height; ++y) {
        read_row(y + kGaussianRadius);
        const Reach reach(y, plane.height);
        if (y == 0 || reach != Reach(y - 1, plane.height)) {
            for (int32_t x = 0; x < plane.width; ++x) {
                const bool inside = x > kGaussianRadius && x < plane.width - kGaussianRadius;
                const auto c = static_cast<std::size_t>(x);
                weight_sums[c] = inside ? weight_sums[c - 1] : sum_of_weights(weights, reach, Reach(x, plane.width));
            }
        }
        std::size_t i = 0;
        for (int32_t dy = -kGaussianRadius; dy <= kGaussianRadius; ++dy) {
            for (std::size_t dx = 0; dx < kGaussianSide; ++dx) {
                terms[i++] = ring_row(y + dy) + dx;
            }
        }
        row_kernels().masked_mean({terms.data(), weights.data(), kGaussianTerms}, weight_sums.data(), threshold,
                                  plane.row(y), columns);
    }
}

void lsc_fill_dark(const Plane& plane, int32_t threshold) {
    const std::size_t columns = plane.columns();
    ColumnMinimum in_column(plane, threshold);
    const Scratch<int16_t> line(columns + 2 * kSearch);
    for (int32_t y = 0; y < plane.height; ++y) {
        std::ranges::fill(line.span(), kNoKey);
        row_kernels().bright_keys(plane.row(y), threshold, line.data() + kSearch, columns);
        smallest_ahead(line.data(), columns);
        row_kernels().fill_dark(line.data(), in_column.row(y), threshold, plane.row(y), columns);
    }
}

}  // namespace cali::lsc
