#include "detection/flat_regions.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/channel.h"

namespace cali::host {
namespace {

constexpr int kMostPixels = 1000;     // of a side
constexpr double kBright = 0.995;     // share of pixels that are darker than what counts as white
constexpr double kDarkOffset = 0.02;  // of white: keeps noise in the dark from looking like edges
constexpr std::array<float, 7> kEdges = {0.010F, 0.017F, 0.027F, 0.042F, 0.066F, 0.10F, 0.15F};
constexpr double kLeastArea = 4;        // pixels
constexpr double kLargestShare = 0.06;  // of the picture
constexpr double kMostElongated = 2.8;
constexpr double kLeastFilled = 0.75;  // of a parallelogram with the same moments
constexpr double kMostFilled = 1.2;

/// Sums over a region.
struct Moments {
    double n = 0, x = 0, y = 0, xx = 0, xy = 0, yy = 0;

    void add_run(double from, double to, double row) {
        const double count = to - from + 1;
        const double mean = (from + to) / 2;
        n += count;
        x += count * mean;
        y += count * row;
        xx += count * (mean * mean + (count * count - 1) / 12);
        xy += count * mean * row;
        yy += count * row * row;
    }
    void add(const Moments& other) {
        n += other.n;
        x += other.x;
        y += other.y;
        xx += other.xx;
        xy += other.xy;
        yy += other.yy;
    }
};

/// Pixels below a limit, joined where they share a side.
class Regions {
public:
    Regions(const std::vector<float>& values, int width, int height, float limit) {
        std::vector<Run> above;
        std::vector<Run> row;
        for (int y = 0; y < height; ++y) {
            row.clear();
            const float* const line = values.data() + static_cast<std::ptrdiff_t>(y) * width;
            std::size_t over = 0;
            for (int x = 0; x < width;) {
                if (line[x] >= limit) {
                    ++x;
                    continue;
                }
                const int from = x;
                while (x < width && line[x] < limit) {
                    ++x;
                }
                const std::size_t region = parent_.size();
                parent_.push_back(region);
                moments_.emplace_back().add_run(from, x - 1, y);
                while (over < above.size() && above[over].to < from) {
                    ++over;
                }
                for (std::size_t i = over; i < above.size() && above[i].from < x; ++i) {
                    join(above[i].region, region);
                }
                row.push_back({from, x - 1, region});
            }
            above.swap(row);
        }
    }

    template <typename Visit>
    void for_each(Visit visit) const {
        for (std::size_t i = 0; i < parent_.size(); ++i) {
            if (parent_[i] == i) {
                visit(moments_[i]);
            }
        }
    }

private:
    struct Run {
        int from;
        int to;
        std::size_t region;
    };

    std::size_t root(std::size_t i) {
        while (parent_[i] != i) {
            parent_[i] = parent_[parent_[i]];
            i = parent_[i];
        }
        return i;
    }

    void join(std::size_t a, std::size_t b) {
        a = root(a);
        b = root(b);
        if (a != b) {
            parent_[std::max(a, b)] = std::min(a, b);
            moments_[std::min(a, b)].add(moments_[std::max(a, b)]);
        }
    }

    std::vector<std::size_t> parent_;
    std::vector<Moments> moments_;
};

/// Strength of the edge at each pixel; those at the picture's rim count as edges.
std::vector<float> edges_of(const SmallPicture& picture) {
    const std::ptrdiff_t width = picture.width;
    std::vector<float> edges(picture.level[0].size(), 1.0F);
    for (int y = 1; y + 1 < picture.height; ++y) {
        float* const to = edges.data() + y * width;
        std::fill(to + 1, to + width - 1, 0.0F);
        for (const std::vector<float>& plane : picture.level) {
            const float* const p = plane.data() + y * width;
            const float* const up = p - width;
            const float* const down = p + width;
            for (std::ptrdiff_t x = 1; x + 1 < width; ++x) {
                const float across = up[x + 1] - up[x - 1] + 2 * (p[x + 1] - p[x - 1]) + down[x + 1] - down[x - 1];
                const float along = down[x - 1] - up[x - 1] + 2 * (down[x] - up[x]) + down[x + 1] - up[x + 1];
                to[x] += (across * across + along * along) / 64;
            }
        }
        for (std::ptrdiff_t x = 1; x + 1 < width; ++x) {
            to[x] = std::sqrt(to[x]);
        }
    }
    return edges;
}

/// Compact ones: a parallelogram has the area 12 times the root of its second moments' determinant.
bool compact(const Moments& m, double largest) {
    if (m.n < kLeastArea || m.n > largest) {
        return false;
    }
    const double xx = m.xx / m.n - (m.x / m.n) * (m.x / m.n) + 1.0 / 12;
    const double yy = m.yy / m.n - (m.y / m.n) * (m.y / m.n) + 1.0 / 12;
    const double xy = m.xy / m.n - (m.x / m.n) * (m.y / m.n);
    const double determinant = xx * yy - xy * xy;
    const double filled = m.n / (12 * std::sqrt(determinant));
    const double half = (xx + yy) / 2;
    const double spread = std::sqrt(std::max(half * half - determinant, 0.0));
    return filled > kLeastFilled && filled < kMostFilled &&
           half + spread < kMostElongated * kMostElongated * (half - spread);
}

float quantile(std::vector<float> values, double share) {
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

/// Every n-th value.
std::vector<float> some(const std::vector<float>& values) {
    std::vector<float> kept;
    for (std::size_t i = 0; i < values.size(); i += 13) {
        kept.push_back(values[i]);
    }
    return kept;
}

}  // namespace

std::array<double, 3> SmallPicture::level_at(const Point& p) const {
    std::array<double, 3> found{};
    for (std::size_t c = 0; c < 3; ++c) {
        const double x = std::clamp(p.x - 0.5 - shift[c].x, 0.0, width - 1.001);
        const double y = std::clamp(p.y - 0.5 - shift[c].y, 0.0, height - 1.001);
        const int column = static_cast<int>(x);
        const int row = static_cast<int>(y);
        const double fx = x - column;
        const std::vector<float>& plane = level[c];
        const auto along = [&](std::size_t i) {
            return static_cast<double>(plane[i]) * (1 - fx) + static_cast<double>(plane[i + 1]) * fx;
        };
        found[c] = along(at(column, row)) * (1 - (y - row)) + along(at(column, row + 1)) * (y - row);
    }
    return found;
}

SmallPicture small_picture(const Capture& capture, const BlackLevels& black_level) {
    SmallPicture picture;
    const SensorGeometry& sensor = capture.sensor;
    const int cells = (std::max(sensor.width, sensor.height) / 2 + kMostPixels - 1) / kMostPixels;
    picture.photosites = 2 * std::max(cells, 1);
    picture.width = sensor.width / picture.photosites;
    picture.height = sensor.height / picture.photosites;
    const std::size_t pixels = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
    if (picture.width < 3 || picture.height < 3) {
        return {};
    }
    for (std::size_t c = 0; c < 3; ++c) {
        picture.linear[c].resize(pixels);
        picture.level[c].resize(pixels);
    }

    const int side = picture.photosites;
    std::vector<std::array<uint32_t, 2>> sums(static_cast<std::size_t>(picture.width));
    for (int y = 0; y < picture.height; ++y) {
        for (int odd = 0; odd < 2; ++odd) {
            std::ranges::fill(sums, std::array<uint32_t, 2>{});
            for (int j = odd; j < side; j += 2) {
                const uint32_t* p = capture.view().row(y * side + j);
                for (auto& sum : sums) {
                    for (int i = 0; i < side; i += 2, p += 2) {
                        sum[0] += p[0];
                        sum[1] += p[1];
                    }
                }
            }
            const float per_sample = 4.0F / static_cast<float>(side * side);
            for (uint32_t column = 0; column < 2; ++column) {
                const Channel channel = bayer_channel(sensor.pattern, static_cast<uint32_t>(odd), column);
                const std::size_t c = channel == RR ? 0 : channel == BB ? 2 : 1;
                const float share = c == 1 ? 0.5F : 1.0F;
                if (y == 0) {
                    picture.shift[c].x += static_cast<double>(share) * (column - 0.5) / side;
                    picture.shift[c].y += static_cast<double>(share) * (odd - 0.5) / side;
                }
                const auto black = static_cast<float>(black_level.offset[static_cast<std::size_t>(RR - channel)]);
                float* const to = picture.linear[c].data() + picture.at(0, y);
                for (std::size_t x = 0; x < sums.size(); ++x) {
                    to[x] += share * (static_cast<float>(sums[x][column]) * per_sample - black);
                }
            }
        }
    }
    // Colours are evened out by their own brightest places, so that the light's colour does not hide one of them.
    for (std::size_t c = 0; c < 3; ++c) {
        const float white = std::max(quantile(some(picture.linear[c]), kBright), 1.0F);
        std::ranges::transform(picture.linear[c], picture.level[c].begin(), [white](float code) {
            return std::sqrt(std::max(code / white, 0.0F) + static_cast<float>(kDarkOffset));
        });
    }
    std::vector<float> steps;
    for (std::size_t i = 0; i + 1 < pixels; i += 13) {
        steps.push_back(std::abs(picture.level[1][i + 1] - picture.level[1][i]));
    }
    picture.noise = static_cast<double>(quantile(std::move(steps), 0.5));
    return picture;
}

std::vector<FlatRegion> flat_regions(const SmallPicture& picture) {
    const std::vector<float> edges = edges_of(picture);
    const double largest = kLargestShare * picture.width * picture.height;
    std::vector<FlatRegion> all;
    for (const float limit : kEdges) {
        Regions(edges, picture.width, picture.height, limit).for_each([&](const Moments& m) {
            if (compact(m, largest)) {
                all.push_back({{m.x / m.n + 0.5, m.y / m.n + 0.5}, m.n});
            }
        });
    }
    std::ranges::sort(all, [](const FlatRegion& a, const FlatRegion& b) { return a.area > b.area; });

    // The same region at several limits: a grid of buckets finds those near.
    constexpr int kBucket = 16;
    const int columns = picture.width / kBucket + 1;
    std::vector<std::vector<std::size_t>> buckets(static_cast<std::size_t>(columns) *
                                                  static_cast<std::size_t>(picture.height / kBucket + 1));
    std::vector<FlatRegion> kept;
    for (const FlatRegion& region : all) {
        const double reach = std::min(0.25 * std::sqrt(region.area) + 0.5, double{kBucket});
        const int column = static_cast<int>(region.centre.x) / kBucket;
        const int row = static_cast<int>(region.centre.y) / kBucket;
        bool known = false;
        for (int j = std::max(row - 1, 0); j <= std::min(row + 1, picture.height / kBucket) && !known; ++j) {
            for (int i = std::max(column - 1, 0); i <= std::min(column + 1, columns - 1) && !known; ++i) {
                const auto& bucket = buckets[static_cast<std::size_t>(j) * static_cast<std::size_t>(columns) +
                                             static_cast<std::size_t>(i)];
                known = std::ranges::any_of(bucket, [&](std::size_t k) {
                    return kept[k].area < 6 * region.area &&
                           std::hypot(kept[k].centre.x - region.centre.x, kept[k].centre.y - region.centre.y) < reach;
                });
            }
        }
        if (!known) {
            buckets[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                    static_cast<std::size_t>(column)]
                .push_back(kept.size());
            kept.push_back(region);
        }
    }
    return kept;
}

}  // namespace cali::host
