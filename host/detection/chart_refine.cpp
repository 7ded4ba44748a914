#include "detection/chart_refine.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <span>

#include "base/least_squares.h"

namespace cali::host {
namespace {

constexpr std::size_t kLeastSeen = 8;  // patches whose sides are seen

/// How far a patch's side is from its middle, in cells along `du`, `dv`; where something begins that looks different.
std::optional<double> side_at(const SmallPicture& picture, const ChartMap& map, const Point& middle, double du,
                              double dv) {
    constexpr int kSteps = 40;
    constexpr double kLast = 0.53;
    constexpr double kFirst = 0.12;
    constexpr double kLeastDifference = 0.012;
    std::array<double, 3> inside{};
    int inside_count = 0;
    std::array<double, kSteps + 1> difference{};
    const auto profile = [&](double t) {
        std::array<double, 3> mean{};
        for (int k = -2; k <= 2; ++k) {
            const double aside = 0.11 * k;
            const Point p = map(middle.x + du * t + dv * aside, middle.y + dv * t + du * aside);
            const auto level = picture.level_at(p);
            for (std::size_t c = 0; c < 3; ++c) {
                mean[c] += level[c] / 5;
            }
        }
        return mean;
    };
    for (double t = -kFirst; t <= kFirst + 1e-9; t += kFirst / 2) {
        const auto level = profile(t);
        for (std::size_t c = 0; c < 3; ++c) {
            inside[c] += level[c];
        }
        ++inside_count;
    }
    double most = 0;
    for (int s = 0; s <= kSteps; ++s) {
        const auto level = profile(kFirst + (kLast - kFirst) * s / kSteps);
        double square = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            const double d = level[c] - inside[c] / inside_count;
            square += d * d;
        }
        difference[static_cast<std::size_t>(s)] = std::sqrt(square);
        most = std::max(most, std::sqrt(square));
    }
    if (most < kLeastDifference + 2 * picture.noise) {
        return std::nullopt;
    }
    for (std::size_t s = 1; s <= kSteps; ++s) {
        if (difference[s] >= most / 2) {
            const double before = difference[s - 1];
            const double part = difference[s] > before ? (most / 2 - before) / (difference[s] - before) : 0;
            return kFirst + (kLast - kFirst) * (static_cast<double>(s) - 1 + std::clamp(part, 0.0, 1.0)) / kSteps;
        }
    }
    return std::nullopt;
}

double median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

void refine(const SmallPicture& picture, ChartGuess& guess) {
    constexpr int kRounds = 3;
    constexpr double kOffWidth = 0.09;   // cells that half a patch may differ from the usual
    constexpr double kOffMiddle = 0.30;  // cells
    for (int round = 0; round < kRounds; ++round) {
        // Left, right, up, down of each patch.
        std::array<std::array<std::optional<double>, 4>, kChartPatches> sides{};
        std::array<std::vector<double>, 2> halves;
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            const Point middle = {column_of(patch), row_of(patch)};
            sides[patch] = {side_at(picture, guess.map, middle, -1, 0), side_at(picture, guess.map, middle, 1, 0),
                            side_at(picture, guess.map, middle, 0, -1), side_at(picture, guess.map, middle, 0, 1)};
            for (std::size_t axis = 0; axis < 2; ++axis) {
                if (sides[patch][2 * axis] && sides[patch][2 * axis + 1]) {
                    halves[axis].push_back((*sides[patch][2 * axis] + *sides[patch][2 * axis + 1]) / 2);
                }
            }
        }
        const std::array<double, 2> half = {median(halves[0]), median(halves[1])};
        guess.half = half;
        std::vector<Point> chart;
        std::vector<Point> seen;
        int supported = 0;
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            std::array<double, 2> offset{};
            bool known = true;
            for (std::size_t axis = 0; axis < 2; ++axis) {
                const auto& low = sides[patch][2 * axis];
                const auto& high = sides[patch][2 * axis + 1];
                if (low && high && std::abs((*low + *high) / 2 - half[axis]) < kOffWidth) {
                    offset[axis] = (*high - *low) / 2;
                    supported += 2;
                } else if (low && !high) {
                    offset[axis] = half[axis] - *low;
                    ++supported;
                } else if (high && !low) {
                    offset[axis] = *high - half[axis];
                    ++supported;
                } else {
                    known = false;
                }
                known = known && std::abs(offset[axis]) < kOffMiddle;
            }
            if (known) {
                chart.push_back({column_of(patch), row_of(patch)});
                seen.push_back(guess.map(column_of(patch) + offset[0], row_of(patch) + offset[1]));
            }
        }
        guess.edge_support = supported / (4.0 * kChartPatches);
        if (chart.size() < 2 * kLeastSeen) {
            return;
        }
        // Twice, the second time without what lies off.
        for (int pass = 0; pass < 2; ++pass) {
            const ChartMap map(chart, seen);
            if (!fits(picture, map)) {
                return;
            }
            if (pass == 1) {
                guess.map = map;
                break;
            }
            std::vector<double> off;
            for (std::size_t i = 0; i < chart.size(); ++i) {
                const Point p = map(chart[i].x, chart[i].y);
                off.push_back(std::hypot(p.x - seen[i].x, p.y - seen[i].y));
            }
            const double limit = std::max(3 * median(off), 0.03 * cell_size(map, 3, 2));
            std::vector<Point> kept_chart;
            std::vector<Point> kept_seen;
            for (std::size_t i = 0; i < chart.size(); ++i) {
                if (off[i] <= limit) {
                    kept_chart.push_back(chart[i]);
                    kept_seen.push_back(seen[i]);
                }
            }
            chart.swap(kept_chart);
            seen.swap(kept_seen);
        }
    }
}

namespace {

/// The chart as it should look: patches and gaps of the levels that it has in the picture.
class Template {
public:
    Template(const SmallPicture& picture, const ChartGuess& guess)
        : half_(guess.half), ramp_(kBlur / cell_size(guess.map, 3, 2)) {
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            for (int i = 0; i < 9; ++i) {
                const double du = 0.12 * (i % 3 - 1);
                const double dv = 0.12 * (i / 3 - 1);
                add(patches_[patch], picture.level_at(guess.map(column_of(patch) + du, row_of(patch) + dv)), 9);
            }
        }
        for (int row = 1; row < kRows; ++row) {
            for (int column = 1; column < kColumns; ++column) {
                add(gap_, picture.level_at(guess.map(column, row)), (kRows - 1) * (kColumns - 1));
            }
        }
    }

    [[nodiscard]] std::array<double, 3> operator()(double u, double v) const {
        std::array<double, 3> level = gap_;
        const int left = static_cast<int>(std::floor(u - 0.5));
        const int top = static_cast<int>(std::floor(v - 0.5));
        for (int row = std::max(top, 0); row <= std::min(top + 1, kRows - 1); ++row) {
            const double down = cover(v - row - 0.5, half_[1]);
            for (int column = std::max(left, 0); column <= std::min(left + 1, kColumns - 1); ++column) {
                const double share = down * cover(u - column - 0.5, half_[0]);
                const auto& patch =
                    patches_[static_cast<std::size_t>(row) * kColumns + static_cast<std::size_t>(column)];
                for (std::size_t c = 0; c < 3; ++c) {
                    level[c] += share * (patch[c] - gap_[c]);
                }
            }
        }
        return level;
    }

private:
    static constexpr double kBlur = 2.5;  // pixels from the inside of an edge to the outside

    static void add(std::array<double, 3>& sum, const std::array<double, 3>& level, double count) {
        for (std::size_t c = 0; c < 3; ++c) {
            sum[c] += level[c] / count;
        }
    }
    [[nodiscard]] double cover(double from_middle, double half) const {
        return std::clamp((half - std::abs(from_middle)) / ramp_ + 0.5, 0.0, 1.0);
    }

    std::array<double, 2> half_;
    double ramp_;
    std::array<std::array<double, 3>, kChartPatches> patches_{};
    std::array<double, 3> gap_{};
};

}  // namespace

void align(const SmallPicture& picture, ChartGuess& guess) {
    constexpr int kRounds = 5;
    constexpr int kPerCell = 12;
    constexpr double kStep = 0.25;     // pixels, for differences
    constexpr double kFarthest = 0.3;  // cells that a corner may move
    const Corners first = guess.map.corners();
    const double farthest = kFarthest * cell_size(guess.map, 3, 2);
    for (int round = 0; round < kRounds; ++round) {
        const Template wanted(picture, guess);
        const Corners corners = guess.map.corners();
        std::vector<ChartMap> moved;
        for (std::size_t k = 0; k < 8; ++k) {
            Corners other = corners;
            (k % 2 == 0 ? other[k / 2].x : other[k / 2].y) += 1;
            moved.emplace_back(other);
        }
        LeastSquares<8> step(1e-6);
        for (int j = 0; j < kRows * kPerCell; ++j) {
            for (int i = 0; i < kColumns * kPerCell; ++i) {
                const double u = (i + 0.5) / kPerCell;
                const double v = (j + 0.5) / kPerCell;
                const Point p = guess.map(u, v);
                const auto is = picture.level_at(p);
                const auto should = wanted(u, v);
                const auto right = picture.level_at({p.x + kStep, p.y});
                const auto left = picture.level_at({p.x - kStep, p.y});
                const auto below = picture.level_at({p.x, p.y + kStep});
                const auto above = picture.level_at({p.x, p.y - kStep});
                for (std::size_t c = 0; c < 3; ++c) {
                    const double dx = (right[c] - left[c]) / (2 * kStep);
                    const double dy = (below[c] - above[c]) / (2 * kStep);
                    std::array<double, 8> terms{};
                    for (std::size_t k = 0; k < 8; ++k) {
                        const Point q = moved[k](u, v);
                        terms[k] = dx * (q.x - p.x) + dy * (q.y - p.y);
                    }
                    step.add(terms, should[c] - is[c], 1);
                }
            }
        }
        const std::array<double, 8> by = step.solution();
        Corners next = corners;
        double largest = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            next[k] = {next[k].x + by[2 * k], next[k].y + by[2 * k + 1]};
            largest = std::max({largest, std::abs(by[2 * k]), std::abs(by[2 * k + 1])});
            if (!(std::hypot(next[k].x - first[k].x, next[k].y - first[k].y) < farthest)) {
                return;
            }
        }
        const ChartMap map(next);
        if (!fits(picture, map)) {
            return;
        }
        guess.map = map;
        if (largest < 0.01) {
            return;
        }
    }
}

}  // namespace cali::host
