#include "detection/chart_finder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <optional>
#include <span>

#include "base/error.h"
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

/// An order of the chart at a place of a lattice, and the regions that are there.
struct Seen {
    Order order;
    std::vector<Point> chart;
    std::vector<Point> picture;
};

std::vector<Seen> places_on(const PatchLattice& lattice) {
    int left = 100;
    int right = -100;
    int top = 100;
    int bottom = -100;
    for (const auto& [at, p] : lattice) {
        left = std::min(left, at.first);
        right = std::max(right, at.first);
        top = std::min(top, at.second);
        bottom = std::max(bottom, at.second);
    }
    std::vector<Seen> all;
    for (const Order& order : kOrders) {
        const int wide = order.on_side ? kRows : kColumns;
        const int high = order.on_side ? kColumns : kRows;
        for (int j = top - 2; j + high - 1 <= bottom + 2; ++j) {
            for (int i = left - 2; i + wide - 1 <= right + 2; ++i) {
                Seen seen{order, {}, {}};
                std::array<bool, kColumns> columns{};
                std::array<bool, kRows> rows{};
                for (int row = 0; row < kRows; ++row) {
                    for (int column = 0; column < kColumns; ++column) {
                        const auto [across, down] = order.node(column, row);
                        if (const auto node = lattice.find({i + across, j + down}); node != lattice.end()) {
                            seen.chart.push_back({column + 0.5, row + 0.5});
                            seen.picture.push_back(node->second);
                            columns[static_cast<std::size_t>(column)] = true;
                            rows[static_cast<std::size_t>(row)] = true;
                        }
                    }
                }
                if (seen.chart.size() >= kLeastInside && std::ranges::count(columns, true) >= 3 &&
                    std::ranges::count(rows, true) >= 2) {
                    all.push_back(std::move(seen));
                }
            }
        }
    }
    return all;
}

/// All places and orders of the chart on a lattice.
void place_on(const SmallPicture& picture, const PatchLattice& straight, std::vector<Placement>& placements) {
    const bool picture_sense = right_handed(straight);  // shearing keeps it
    std::vector<Seen> places;
    std::size_t most = 0;
    for (const PatchLattice& lattice : sheared(straight)) {
        for (Seen& seen : places_on(lattice)) {
            most = std::max(most, seen.chart.size());
            places.push_back(std::move(seen));
        }
    }
    for (const Seen& seen : places) {
        if (10 * seen.chart.size() < 7 * most) {
            continue;
        }
        const ChartMap map(seen.chart, seen.picture);
        if (!fits(picture, map)) {
            continue;
        }
        const ColourFit fit = fit_colours(measure(picture, map));
        if (fit.residual < kWorthRefining) {
            placements.push_back({map, seen.order.flips() == picture_sense, fit});
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
