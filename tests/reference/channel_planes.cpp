#include "reference/channel_planes.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "reference/raw_stages.h"

namespace cali::reference {
namespace {

std::size_t index(int width, int x, int y) { return static_cast<std::size_t>(y * width + x); }

/// Mirrors about the edge samples, as often as it takes.
int reflected(int position, int count) {
    if (count == 1) {
        return 0;
    }
    while (position < 0 || position >= count) {
        position = position < 0 ? -position : 2 * (count - 1) - position;
    }
    return position;
}

}  // namespace

std::array<Plane, 4> split(const std::vector<uint32_t>& frame, int width, int height, int pattern) {
    std::array<Plane, 4> planes;
    for (int y = 0; y < height / 2 * 2; ++y) {
        for (int x = 0; x < width / 2 * 2; ++x) {
            const int code = colour_code(pattern, static_cast<uint32_t>(y), static_cast<uint32_t>(x));
            const auto at = static_cast<std::size_t>(y * width + x);
            planes[static_cast<std::size_t>(code)].push_back(static_cast<int32_t>(frame[at]));
        }
    }
    return planes;
}

Plane low_pass(Plane source, int width, int height) {
    std::array<float, 21> taps{};
    float total = 0;
    for (int i = 0; i < 21; ++i) {
        const double k = i - 10.0;
        taps[static_cast<std::size_t>(i)] =
            static_cast<float>(std::exp(-0.5 * k * k * 0.0625) / (std::sqrt(6.2832) * 4.0));
        total = total + taps[static_cast<std::size_t>(i)];
    }
    for (const bool across : {true, false}) {
        Plane result;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                float sum = 0;
                for (int k = -10; k <= 10; ++k) {
                    const int from =
                        across ? y * width + reflected(x + k, width) : reflected(y + k, height) * width + x;
                    sum = sum + taps[static_cast<std::size_t>(k + 10)] / total *
                                    static_cast<float>(source[static_cast<std::size_t>(from)]);
                }
                result.push_back(x86_int32(static_cast<double>(sum)));
            }
        }
        source = result;
    }
    return source;
}

int32_t bright_threshold(const Plane& plane, double fraction) {
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

Plane masked_gaussian(const Plane& plane, int width, int height, int32_t threshold) {
    Plane result = plane;
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
                result[index(width, x, y)] = x86_int32(static_cast<double>(sum / weights));
            }
        }
    }
    return result;
}

Plane fill_dark(const Plane& plane, int width, int height, int32_t threshold) {
    Plane result = plane;
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

std::vector<uint32_t> subtract_limited(std::vector<uint32_t> row, const std::array<uint32_t, 2>& offset) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        const auto difference = static_cast<int32_t>(row[i] - offset[i % 2]);
        row[i] = static_cast<uint32_t>(std::min(std::max(difference, 0), 4095));
    }
    return row;
}

void spread(const std::array<double, 3>& shift, double own, const std::vector<double>& nearness,
            const std::vector<double>& squared, SpreadSums& sums, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const double weight = squared[i] * own;
        for (std::size_t c = 0; c < 3; ++c) {
            sums.shift[c][i] = sums.shift[c][i] + weight * shift[c];
        }
        sums.weight[i] = sums.weight[i] + weight;
        sums.nearest[i] = std::max(sums.nearest[i], nearness[i]);
    }
}

}  // namespace cali::reference
