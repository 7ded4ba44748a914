#include "detection/chart_finder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <span>

#include "base/error.h"
#include "base/least_squares.h"
#include "base/text.h"
#include "detection/chart_colours.h"
#include "detection/flat_regions.h"
#include "detection/patch_lattice.h"

namespace cali::host {
namespace {

constexpr std::size_t kLeastNodes = 9;
constexpr std::size_t kLeastInside = 8;  // regions of a lattice within a place of the chart
constexpr double kLeastCell = 3;         // pixels
constexpr double kWindow = 0.22;         // half of what is measured of a cell
constexpr std::size_t kRefined = 4;      // of the best places
constexpr double kWorthRefining = 0.9;   // colour residual

constexpr double kWorthAligning = 0.5;

constexpr int kColumns = kChartColumns;
constexpr int kRows = kChartRows;

/// Where the chart may lie, and what speaks for it.
struct Placement {
    ChartMap map;
    bool mirrored = false;
    ColourFit fit;
    double other_order = 1;
    double edge_support = 0;
    double flat_share = 0;
    std::array<double, 2> half = {0.4, 0.4};  ///< of a patch, cells
};

double column_of(std::size_t patch) { return static_cast<double>(patch % kChartColumns) + 0.5; }
double row_of(std::size_t patch) { return static_cast<double>(patch / kChartColumns) + 0.5; }

/// Side lengths of a cell, the shorter one.
double cell_size(const ChartMap& map, double u, double v) {
    const Point left = map(u - 0.5, v);
    const Point right = map(u + 0.5, v);
    const Point top = map(u, v - 0.5);
    const Point bottom = map(u, v + 0.5);
    return std::min(std::hypot(right.x - left.x, right.y - left.y), std::hypot(bottom.x - top.x, bottom.y - top.y));
}

/// Whether all patches lie in the picture and are large enough; also that the map is one of a plane before the camera.
bool fits(const SmallPicture& picture, const ChartMap& map) {
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        const double u = column_of(patch);
        const double v = row_of(patch);
        for (const double du : {-0.35, 0.35}) {
            for (const double dv : {-0.35, 0.35}) {
                if (!picture.inside(map(u + du, v + dv), 0.5)) {
                    return false;
                }
            }
        }
        const double size = cell_size(map, u, v);
        if (!(size >= kLeastCell)) {
            return false;
        }
    }
    const double first = cell_size(map, 0.5, 0.5);
    for (const auto& [u, v] : {std::pair(5.5, 0.5), std::pair(5.5, 3.5), std::pair(0.5, 3.5)}) {
        const double ratio = cell_size(map, u, v) / first;
        if (ratio > 2.5 || ratio < 0.4) {
            return false;
        }
    }
    return true;
}

/// Linear means over the middle of the cells.
PatchColours measure(const SmallPicture& picture, const ChartMap& map) {
    PatchColours colours{};
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        constexpr int kSamples = 4;
        for (int i = 0; i < kSamples * kSamples; ++i) {
            const double du = ((i % kSamples) - 1.5) / 1.5 * kWindow * 0.8;
            const double dv = ((i / kSamples) - 1.5) / 1.5 * kWindow * 0.8;
            const Point p = map(column_of(patch) + du, row_of(patch) + dv);
            const std::size_t at = picture.at(std::clamp(static_cast<int>(p.x), 0, picture.width - 1),
                                              std::clamp(static_cast<int>(p.y), 0, picture.height - 1));
            for (std::size_t c = 0; c < 3; ++c) {
                colours[patch][c] += static_cast<double>(picture.linear[c][at]) / (kSamples * kSamples);
            }
        }
    }
    return colours;
}

/// The chart in each of the eight orders on a lattice: columns and rows of the lattice that its patches have.
struct Order {
    bool on_side;  ///< its rows run along the lattice's columns
    bool back;     ///< from right to left
    bool up;       ///< from bottom to top

    [[nodiscard]] std::pair<int, int> node(int column, int row) const {
        const int i = back ? kColumns - 1 - column : column;
        const int j = up ? kRows - 1 - row : row;
        return on_side ? std::pair(j, i) : std::pair(i, j);
    }
    /// Whether it swaps the sense of rotation.
    [[nodiscard]] bool flips() const { return on_side ^ back ^ up; }
};

constexpr std::array<Order, 8> kOrders = {{{false, false, false},
                                           {false, true, false},
                                           {false, false, true},
                                           {false, true, true},
                                           {true, false, false},
                                           {true, true, false},
                                           {true, false, true},
                                           {true, true, true}}};

/// Whether columns and rows of the lattice run as a picture's do.
bool right_handed(const PatchLattice& lattice) {
    double turn = 0;
    for (const auto& [at, p] : lattice) {
        const auto across = lattice.find({at.first + 1, at.second});
        const auto down = lattice.find({at.first, at.second + 1});
        if (across != lattice.end() && down != lattice.end()) {
            turn +=
                (across->second.x - p.x) * (down->second.y - p.y) - (across->second.y - p.y) * (down->second.x - p.x);
        }
    }
    return turn > 0;
}

/// The same regions with rows or columns taken along their diagonals: seen from the side, a diagonal may be the
/// shorter step.
std::vector<PatchLattice> sheared(const PatchLattice& lattice) {
    std::vector<PatchLattice> all = {lattice};
    for (const auto& [across, down] : {std::pair(1, 0), std::pair(-1, 0), std::pair(0, 1), std::pair(0, -1)}) {
        PatchLattice& other = all.emplace_back();
        for (const auto& [at, p] : lattice) {
            other[{at.first + across * at.second, at.second + down * at.first}] = p;
        }
    }
    return all;
}

/// A place of the chart on a lattice, upright or on its side, and how many regions are there.
struct Place {
    std::size_t lattice;
    int left;
    int top;
    bool on_side;
    std::size_t regions;
};

/// All places with enough regions.
void add_places(const PatchLattice& lattice, std::size_t index, std::vector<Place>& places) {
    int left = lattice.begin()->first.first;
    int right = left;
    int top = lattice.begin()->first.second;
    int bottom = top;
    for (const auto& [at, p] : lattice) {
        left = std::min(left, at.first);
        right = std::max(right, at.first);
        top = std::min(top, at.second);
        bottom = std::max(bottom, at.second);
    }
    // With a margin of what may be missing at a side.
    constexpr int kMissing = 2;
    left -= kMissing;
    top -= kMissing;
    const int width = right + kMissing - left + 1;
    const int height = bottom + kMissing - top + 1;
    std::vector<bool> there(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    const auto at = [&](int i, int j) { return static_cast<std::size_t>(j * width + i); };
    for (const auto& [node, p] : lattice) {
        there[at(node.first - left, node.second - top)] = true;
    }
    for (const bool on_side : {false, true}) {
        const int wide = on_side ? kRows : kColumns;
        const int high = on_side ? kColumns : kRows;
        for (int j = 0; j + high <= height; ++j) {
            for (int i = 0; i + wide <= width; ++i) {
                std::array<bool, kColumns> columns{};
                std::array<bool, kColumns> rows{};
                std::size_t regions = 0;
                for (int y = 0; y < high; ++y) {
                    for (int x = 0; x < wide; ++x) {
                        if (there[at(i + x, j + y)]) {
                            ++regions;
                            columns[static_cast<std::size_t>(x)] = true;
                            rows[static_cast<std::size_t>(y)] = true;
                        }
                    }
                }
                const auto across = std::ranges::count(columns, true);
                const auto down = std::ranges::count(rows, true);
                if (regions >= kLeastInside && std::min(across, down) >= 2 && std::max(across, down) >= 3) {
                    places.push_back({index, left + i, top + j, on_side, regions});
                }
            }
        }
    }
}

/// All places and orders of the chart on a lattice.
void place_on(const SmallPicture& picture, const PatchLattice& straight, std::vector<Placement>& placements) {
    const bool picture_sense = right_handed(straight);  // shearing keeps it
    const std::vector<PatchLattice> lattices = sheared(straight);
    std::vector<Place> places;
    for (std::size_t i = 0; i < lattices.size(); ++i) {
        add_places(lattices[i], i, places);
    }
    std::size_t most = 0;
    for (const Place& place : places) {
        most = std::max(most, place.regions);
    }
    for (const Place& place : places) {
        if (10 * place.regions < 7 * most) {
            continue;
        }
        for (const Order& order : kOrders) {
            if (order.on_side != place.on_side) {
                continue;
            }
            std::vector<Point> chart;
            std::vector<Point> seen;
            for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
                const auto [across, down] =
                    order.node(static_cast<int>(patch % kChartColumns), static_cast<int>(patch / kChartColumns));
                const PatchLattice& lattice = lattices[place.lattice];
                if (const auto node = lattice.find({place.left + across, place.top + down}); node != lattice.end()) {
                    chart.push_back({column_of(patch), row_of(patch)});
                    seen.push_back(node->second);
                }
            }
            const ChartMap map(chart, seen);
            if (!fits(picture, map)) {
                break;  // in no order
            }
            const ColourFit fit = fit_colours(measure(picture, map));
            if (fit.residual < kWorthRefining) {
                placements.push_back({map, order.flips() == picture_sense, fit});
            }
        }
    }
}

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

/// The patches' sides as seen, and the map fitted to the middles between them.
void refine(const SmallPicture& picture, Placement& placement) {
    constexpr int kRounds = 3;
    constexpr double kOffWidth = 0.09;   // cells that half a patch may differ from the usual
    constexpr double kOffMiddle = 0.30;  // cells
    for (int round = 0; round < kRounds; ++round) {
        // Left, right, up, down of each patch.
        std::array<std::array<std::optional<double>, 4>, kChartPatches> sides{};
        std::array<std::vector<double>, 2> halves;
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            const Point middle = {column_of(patch), row_of(patch)};
            sides[patch] = {
                side_at(picture, placement.map, middle, -1, 0), side_at(picture, placement.map, middle, 1, 0),
                side_at(picture, placement.map, middle, 0, -1), side_at(picture, placement.map, middle, 0, 1)};
            for (std::size_t axis = 0; axis < 2; ++axis) {
                if (sides[patch][2 * axis] && sides[patch][2 * axis + 1]) {
                    halves[axis].push_back((*sides[patch][2 * axis] + *sides[patch][2 * axis + 1]) / 2);
                }
            }
        }
        const std::array<double, 2> half = {median(halves[0]), median(halves[1])};
        placement.half = half;
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
                seen.push_back(placement.map(column_of(patch) + offset[0], row_of(patch) + offset[1]));
            }
        }
        placement.edge_support = supported / (4.0 * kChartPatches);
        if (chart.size() < 2 * kLeastInside) {
            return;
        }
        // Twice, the second time without what lies off.
        for (int pass = 0; pass < 2; ++pass) {
            const ChartMap map(chart, seen);
            if (!fits(picture, map)) {
                return;
            }
            if (pass == 1) {
                placement.map = map;
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

/// The chart as it should look: patches and gaps of the levels that it has in the picture.
class Template {
public:
    Template(const SmallPicture& picture, const Placement& placement)
        : half_(placement.half), ramp_(kBlur / cell_size(placement.map, 3, 2)) {
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            for (int i = 0; i < 9; ++i) {
                const double du = 0.12 * (i % 3 - 1);
                const double dv = 0.12 * (i / 3 - 1);
                add(patches_[patch], picture.level_at(placement.map(column_of(patch) + du, row_of(patch) + dv)), 9);
            }
        }
        for (int row = 1; row < kRows; ++row) {
            for (int column = 1; column < kColumns; ++column) {
                add(gap_, picture.level_at(placement.map(column, row)), (kRows - 1) * (kColumns - 1));
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
                const auto& patch = patches_[static_cast<std::size_t>(row * kColumns + column)];
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

/// Moves the corners until the picture is most like the chart: all edges at once, those between two patches as well as
/// those to a gap.
void align(const SmallPicture& picture, Placement& placement) {
    constexpr int kRounds = 5;
    constexpr int kPerCell = 12;
    constexpr double kStep = 0.25;     // pixels, for differences
    constexpr double kFarthest = 0.3;  // cells that a corner may move
    const Corners first = placement.map.corners();
    const double farthest = kFarthest * cell_size(placement.map, 3, 2);
    for (int round = 0; round < kRounds; ++round) {
        const Template wanted(picture, placement);
        const Corners corners = placement.map.corners();
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
                const Point p = placement.map(u, v);
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
        placement.map = map;
        if (largest < 0.01) {
            return;
        }
    }
}

/// Share of the windows that are of one colour.
double flat_share(const SmallPicture& picture, const ChartMap& map) {
    constexpr int kSamples = 5;
    constexpr double kUneven = 0.05;
    int flat = 0;
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        double worst = 0;
        std::array<double, 3> sum{};
        std::array<double, 3> squares{};
        for (int i = 0; i < kSamples * kSamples; ++i) {
            const double du = ((i % kSamples) - 2) / 2.0 * kWindow;
            const double dv = ((i / kSamples) - 2) / 2.0 * kWindow;
            const auto level = picture.level_at(map(column_of(patch) + du, row_of(patch) + dv));
            for (std::size_t c = 0; c < 3; ++c) {
                sum[c] += level[c] / (kSamples * kSamples);
                squares[c] += level[c] * level[c] / (kSamples * kSamples);
            }
        }
        for (std::size_t c = 0; c < 3; ++c) {
            worst = std::max(worst, std::sqrt(std::max(squares[c] - sum[c] * sum[c], 0.0)));
        }
        flat += worst < kUneven + 3 * picture.noise ? 1 : 0;
    }
    return static_cast<double>(flat) / kChartPatches;
}

/// Colours in the other orders that the same cells allow: the chart turned or mirrored.
double other_order(const PatchColours& colours) {
    double best = 1;
    for (int index = 1; index < 4; ++index) {
        const auto order = reading_order(index);
        PatchColours other{};
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            other[patch] = colours[order[patch]];
        }
        best = std::min(best, fit_colours(other).residual);
    }
    return best;
}

/// 1 at `good` and better, 0 at `bad` and worse.
double ramp(double value, double good, double bad) { return std::clamp((value - bad) / (good - bad), 0.0, 1.0); }

double confidence_of(const Placement& placement) {
    return ramp(placement.fit.residual, 0.10, 0.45) * ramp(placement.fit.worst, 0.3, 1.2) *
           ramp(placement.fit.residual / placement.other_order, 0.4, 0.9) * ramp(placement.edge_support, 0.7, 0.3) *
           ramp(placement.flat_share, 0.9, 0.5);
}

std::string orientation_of(const ChartMap& map) {
    const Point left = map(0, 2);
    const Point right = map(6, 2);
    const double turn = std::atan2(right.y - left.y, right.x - left.x) * 180 / std::numbers::pi;
    if (std::abs(turn) < 10) {
        return "upright";
    }
    return text("turned by %.0f degrees %s", std::abs(turn), turn > 0 ? "clockwise" : "anticlockwise");
}

}  // namespace

FoundChart find_chart(const Capture& capture, const BlackLevels& black_level) {
    FoundChart result;
    if (capture.sensor.mono) {
        result.reason = "the capture has no colours";
        return result;
    }
    const SmallPicture picture = small_picture(capture, black_level);
    if (picture.width == 0) {
        result.reason = "the frame is too small";
        return result;
    }
    const std::vector<FlatRegion> regions = flat_regions(picture);
    const double scale = picture.photosites;
    for (const FlatRegion& region : regions) {
        result.tried.push_back({region.centre.x * scale, region.centre.y * scale});
    }
    std::vector<Placement> placements;
    const std::vector<PatchLattice> lattices = patch_lattices(regions, kLeastNodes);
    for (const PatchLattice& lattice : lattices) {
        place_on(picture, lattice, placements);
    }
    if (placements.empty()) {
        result.reason = lattices.empty() ? "no rows and columns of patches are seen"
                                         : "no 6 x 4 patches lie in rows and columns inside the frame";
        return result;
    }
    std::ranges::stable_sort(placements, {}, [](const Placement& p) { return p.fit.residual; });
    placements.erase(placements.begin() + static_cast<std::ptrdiff_t>(std::min(placements.size(), kRefined)),
                     placements.end());
    const Placement* best = nullptr;
    double best_confidence = -1;
    for (Placement& placement : placements) {
        refine(picture, placement);
        if (fit_colours(measure(picture, placement.map)).residual < kWorthAligning) {
            // Edge by edge and all at once err in different ways: the middle is nearer than either.
            const Corners by_sides = placement.map.corners();
            align(picture, placement);
            Corners corners = placement.map.corners();
            for (std::size_t i = 0; i < corners.size(); ++i) {
                corners[i] = {(corners[i].x + by_sides[i].x) / 2, (corners[i].y + by_sides[i].y) / 2};
            }
            placement.map = ChartMap(corners);
        }
        const PatchColours colours = measure(picture, placement.map);
        placement.fit = fit_colours(colours);
        placement.other_order = other_order(colours);
        placement.flat_share = flat_share(picture, placement.map);
        if (const double confidence = confidence_of(placement); confidence > best_confidence) {
            best = &placement;
            best_confidence = confidence;
        }
    }

    result.confidence = best_confidence;
    result.colour_residual = best->fit.residual;
    result.other_order = best->other_order;
    result.edge_support = best->edge_support;
    result.flat_share = best->flat_share;
    result.corners = best->map.corners();
    for (Point& corner : result.corners) {
        corner = {corner.x * scale, corner.y * scale};
    }
    if (best_confidence < kLeastConfidence) {
        result.reason =
            text("the most likely 6 x 4 patches have a confidence of %.2f, expected %.2f or more: ", best_confidence,
                 kLeastConfidence) +
            (best->fit.residual > 0.2 ? "their colours are not the chart's" : "their edges are not clear");
        return result;
    }
    if (best->mirrored) {
        result.reason = "the chart is mirrored";
        return result;
    }
    try {
        result.windows = windows_from_corners(result.corners);
    } catch (const InputError& error) {
        result.reason = error.what();
        return result;
    }
    if (!std::ranges::all_of(result.windows, [&](const RoiRect& window) {
            return window_fits(window, capture.sensor.width, capture.sensor.height);
        })) {
        result.reason = "the chart is not wholly inside the frame";
        return result;
    }
    result.orientation = orientation_of(best->map);
    result.found = true;
    return result;
}

}  // namespace cali::host
