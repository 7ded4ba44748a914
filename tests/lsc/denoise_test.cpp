#include "lsc/denoise.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "support/support.h"

namespace cali::test {
namespace {

using Samples = std::vector<int32_t>;

std::size_t index(int width, int x, int y) { return static_cast<std::size_t>(y * width + x); }

/// Otsu's, then the code below which `fraction` of what is brighter lies.
int32_t plain_threshold(const Samples& plane, double fraction) {
    std::vector<double> count(4096);
    double n = 0;
    for (const int32_t sample : plane) {
        if (sample >= 0 && sample < 4096) {
            count[static_cast<std::size_t>(sample)] += 1;
            n += 1;
        }
    }
    double mean = 0;
    for (std::size_t i = 0; i < 4096; ++i) {
        mean = mean + static_cast<double>(i) * (count[i] / n);
    }
    std::size_t threshold = 0;
    double best = 0;
    double omega = 0;
    double mu = 0;
    for (std::size_t t = 0; t < 4096 && 1 - omega != 0; ++t) {
        omega = omega + count[t] / n;
        mu = mu + static_cast<double>(t) * (count[t] / n);
        const double d = mu / omega - (mean - mu) / (1 - omega);
        const double variance = omega * (1 - omega) * (d * d);
        if (variance > best) {  // not where a class is empty: NaN
            best = variance;
            threshold = t;
        }
    }
    const double total = std::accumulate(count.begin() + static_cast<std::ptrdiff_t>(threshold), count.end(), 0.0);
    double running = 0;
    for (std::size_t bin = threshold; bin < 4096; ++bin) {
        running += count[bin];
        if (running / total > fraction) {
            return static_cast<int32_t>(bin);
        }
    }
    return static_cast<int32_t>(threshold);
}

/// The Gaussian mean of the 9 x 9 neighbourhood for what is above the threshold.
Samples plain_gaussian(const Samples& plane, int width, int height, int32_t threshold) {
    Samples result = plane;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            float sum = 0;
            float weights = 0;
            for (int v = y - 4; v <= y + 4; ++v) {
                for (int u = x - 4; u <= x + 4; ++u) {
                    if (u >= 0 && u < width && v >= 0 && v < height) {
                        const float exponent = -static_cast<float>((u - x) * (u - x) + (v - y) * (v - y)) / 32.0F;
                        const auto weight = static_cast<float>(std::exp(static_cast<double>(exponent)));
                        sum = sum + weight * static_cast<float>(plane[index(width, u, v)]);
                        weights = weights + weight;
                    }
                }
            }
            if (plane[index(width, x, y)] > threshold) {
                result[index(width, x, y)] = reference::x86_int32(static_cast<double>(sum / weights));
            }
        }
    }
    return result;
}

/// The smallest above the threshold along row and column for what is below it.
Samples plain_fill(const Samples& plane, int width, int height, int32_t threshold) {
    Samples result = plane;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            int32_t across = 4095;  // nothing found
            int32_t down = 4095;
            for (int offset = -80; offset <= 80 && plane[index(width, x, y)] < threshold; ++offset) {
                if (x + offset >= 0 && x + offset < width && plane[index(width, x + offset, y)] > threshold) {
                    across = std::min(across, plane[index(width, x + offset, y)]);
                }
                if (y + offset >= 0 && y + offset < height && plane[index(width, x, y + offset)] > threshold) {
                    down = std::min(down, plane[index(width, x, y + offset)]);
                }
            }
            if (across != 4095 && down != 4095) {
                result[index(width, x, y)] = (across + down) / 2;
            } else if (across != 4095 || down != 4095) {
                result[index(width, x, y)] = std::min(across, down);
            }
        }
    }
    return result;
}

/// Planes with several shares of bright samples, with and without extremes among them.
Samples cluttered_plane(Random& random, std::size_t size) {
    const SampleKind kind = kSampleKinds[random() % kSampleKinds.size()];
    const auto extreme = samples_of_kind(random, kind, size);
    const uint32_t rare = 1 + static_cast<uint32_t>(random()) % 300;
    Samples plane(size);
    for (std::size_t i = 0; i < size; ++i) {
        plane[i] = static_cast<int32_t>(random() % rare == 0 ? extreme[i] : 40 + random() % 20);
    }
    return plane;
}

TEST(Denoise, MatchesThePlainSteps) {
    Random random(62);
    // From one sample to several search windows either way.
    const std::array<int32_t, 7> sides = {1, 2, 7, 9, 64, 162, 333};
    for (const int32_t width : sides) {
        for (const int32_t height : sides) {
            const auto size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            const auto before = cluttered_plane(random, size);
            const int32_t measured = plain_threshold(before, 0.05);
            for (const int32_t threshold : {measured, 50, 4094, 4095}) {
                SCOPED_TRACE(::testing::Message() << width << " x " << height << ", threshold " << threshold);
                const auto smooth = plain_gaussian(before, width, height, threshold);
                const auto filled = plain_fill(before, width, height, threshold);
                on_every_isa([&] {
                    auto plane = before;
                    ASSERT_EQ(lsc::lsc_bright_threshold({plane.data(), width, height}, 0.05), measured);
                    lsc::lsc_masked_gaussian({plane.data(), width, height}, threshold, 4.0F);
                    ASSERT_TRUE(same_bits(smooth, plane)) << "smoothing";
                    plane = before;
                    lsc::lsc_fill_dark({plane.data(), width, height}, threshold);
                    ASSERT_TRUE(same_bits(filled, plane)) << "filling";
                });
            }
        }
    }
}

}  // namespace
}  // namespace cali::test
