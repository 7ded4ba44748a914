#include "detection/chart_guess.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace cali::host {
namespace {

constexpr std::size_t kLeastInside = 8;  // regions of a lattice within a place of the chart
constexpr double kLeastCell = 3;         // pixels
constexpr double kWorthRefining = 0.9;   // colour residual

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
    const auto at = [&](int i, int j) {
        return static_cast<std::size_t>(j) * static_cast<std::size_t>(width) + static_cast<std::size_t>(i);
    };
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

}  // namespace

double cell_size(const ChartMap& map, double u, double v) {
    const Point left = map(u - 0.5, v);
    const Point right = map(u + 0.5, v);
    const Point top = map(u, v - 0.5);
    const Point bottom = map(u, v + 0.5);
    return std::min(std::hypot(right.x - left.x, right.y - left.y), std::hypot(bottom.x - top.x, bottom.y - top.y));
}

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

PatchColours measure_patches(const SmallPicture& picture, const ChartMap& map) {
    PatchColours colours{};
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        constexpr int kSamples = 4;
        for (int i = 0; i < kSamples * kSamples; ++i) {
            const double du = ((i % kSamples) - 1.5) / 1.5 * kMeasuredHalf * 0.8;
            const double dv = ((i / kSamples) - 1.5) / 1.5 * kMeasuredHalf * 0.8;
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

void add_guesses(const SmallPicture& picture, const PatchLattice& straight, std::vector<ChartGuess>& guesses) {
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
            const ColourFit fit = fit_colours(measure_patches(picture, map));
            if (fit.residual < kWorthRefining) {
                guesses.push_back({map, order.flips() == picture_sense, fit});
            }
        }
    }
}

}  // namespace cali::host
