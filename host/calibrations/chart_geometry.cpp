#include "calibrations/chart_geometry.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <utility>

#include "base/error.h"
#include "captures/geometry.h"

namespace cali::host {
namespace {

constexpr double kMargin = 0.25;        // of a cell, on every side
constexpr double kRounding = 1e-6;      // photosites that a window may leave its inner half by
constexpr double kDarkest = 1e-4;       // linear
constexpr double kUprightBonus = 0.02;  // of a correlation

constexpr std::array<const char*, kOrientations> kNames = {"upright",
                                                           "turned by half a turn (upside down)",
                                                           "mirrored left to right",
                                                           "mirrored top to bottom",
                                                           "turned by a quarter clockwise",
                                                           "turned by a quarter anticlockwise",
                                                           "transposed",
                                                           "transposed and turned by half a turn"};

double cross(const Point& a, const Point& b) { return a.x * b.y - a.y * b.x; }

Point step(const Point& from, const Point& to) { return {to.x - from.x, to.y - from.y}; }

Point between(const Point& a, const Point& b) { return {(a.x + b.x) / 2, (a.y + b.y) / 2}; }

/// 1 where the corners run clockwise as seen, -1 the other way round (a mirrored chart), 0 where not convex.
int winding(const Corners& corners) {
    int turns = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        const Point in = step(corners[i], corners[(i + 1) % 4]);
        const Point out = step(corners[(i + 1) % 4], corners[(i + 2) % 4]);
        const double turn = cross(in, out);
        turns += turn > 0 ? 1 : 0;
        turns -= turn < 0 ? 1 : 0;
    }
    // Four turns one way make one round; two rounds would take more corners.
    return turns / 4;
}

/// Eight equations, right sides last.
using Equations = std::array<std::array<double, 9>, 8>;

/// The two that a place of the chart and where it is seen give.
std::array<std::array<double, 9>, 2> equations_of(const Point& chart, const Point& seen) {
    const auto [u, v] = chart;
    const auto [x, y] = seen;
    return {{{u, v, 1, 0, 0, 0, -u * x, -v * x, x}, {0, 0, 0, u, v, 1, -u * y, -v * y, y}}};
}

std::array<double, 8> solve(Equations rows) {
    for (std::size_t k = 0; k < 8; ++k) {
        std::size_t pivot = k;
        for (std::size_t i = k + 1; i < 8; ++i) {
            pivot = std::abs(rows[i][k]) > std::abs(rows[pivot][k]) ? i : pivot;
        }
        std::swap(rows[k], rows[pivot]);
        for (std::size_t i = k + 1; i < 8; ++i) {
            const double factor = rows[i][k] / rows[k][k];
            for (std::size_t j = k; j < 9; ++j) {
                rows[i][j] -= factor * rows[k][j];
            }
        }
    }
    std::array<double, 8> solution{};
    for (std::size_t k = 8; k-- > 0;) {
        double rest = rows[k][8];
        for (std::size_t j = k + 1; j < 8; ++j) {
            rest -= rows[k][j] * solution[j];
        }
        solution[k] = rest / rows[k][k];
    }
    return solution;
}

constexpr double kRight = kChartColumns;
constexpr double kBottom = kChartRows;
constexpr Corners kChart = {{{0, 0}, {kRight, 0}, {kRight, kBottom}, {0, kBottom}}};

void check_corners(const Corners& corners) {
    bool in_reach = true;
    std::ostringstream found;
    for (const auto& [x, y] : corners) {
        in_reach = in_reach && std::abs(x) <= kMaxSide && std::abs(y) <= kMaxSide;
        found << " (" << x << ", " << y << ")";
    }
    if (!in_reach) {
        throw InputError("the chart's corners are" + found.str() + ", expected coordinates of at most " +
                         std::to_string(kMaxSide));
    }
    if (winding(corners) == 0) {
        throw InputError("the chart's corners" + found.str() +
                         " are no convex quadrilateral, expected the chart's top left, top right, bottom right, bottom "
                         "left");
    }
}

/// Width and height between opposite sides, so that a slanted cell is not wider than what fits across it.
void check_cell(const Corners& cell, std::size_t patch) {
    const Point across = step(between(cell[0], cell[3]), between(cell[1], cell[2]));
    const Point down = step(between(cell[0], cell[1]), between(cell[3], cell[2]));
    const double area = std::abs(cross(across, down));
    const double width = area / std::hypot(down.x, down.y);
    const double height = area / std::hypot(across.x, across.y);
    if (!(std::min(width, height) >= kLeastChartCell - kRounding)) {
        std::ostringstream text;
        text << "patch " << patch + 1 << " of the chart has " << width << " x " << height
             << " photosites between the given corners, expected at least " << kLeastChartCell << " x "
             << kLeastChartCell;
        throw InputError(text.str());
    }
}

/// `columns` x `rows` cells of 2 x 2 photosites. Grown by a column or a row it contains the smaller one.
RoiRect window_at(const Point& centre, int columns, int rows) {
    const auto even = [](double edge) { return 2 * static_cast<int32_t>(std::floor(edge / 2 + 0.5)); };
    return {even(centre.x - columns), even(centre.y - rows), 2 * columns, 2 * rows};
}

bool inside(const RoiRect& window, const Corners& area, int sense) {
    const Corners corners = {{{static_cast<double>(window.x), static_cast<double>(window.y)},
                              {static_cast<double>(window.x + window.w), static_cast<double>(window.y)},
                              {static_cast<double>(window.x + window.w), static_cast<double>(window.y + window.h)},
                              {static_cast<double>(window.x), static_cast<double>(window.y + window.h)}}};
    for (std::size_t i = 0; i < 4; ++i) {
        const Point side = step(area[i], area[(i + 1) % 4]);
        const double slack = kRounding * std::hypot(side.x, side.y);
        if (!std::ranges::all_of(
                corners, [&](const Point& corner) { return sense * cross(side, step(area[i], corner)) >= -slack; })) {
            return false;
        }
    }
    return true;
}

RoiRect largest_window(const Corners& area, const Point& centre, int sense) {
    const auto fits = [&](int columns, int rows) { return inside(window_at(centre, columns, rows), area, sense); };
    RoiRect best = window_at(centre, 1, 1);
    int columns = 0;
    while (fits(columns + 1, 1)) {
        ++columns;
    }
    for (int rows = 1; columns > 0; ++rows) {
        while (columns > 0 && !fits(columns, rows)) {
            --columns;
        }
        if (4 * int64_t{columns} * rows > int64_t{best.w} * best.h) {
            best = window_at(centre, columns, rows);
        }
    }
    return best;
}

/// Log luminance, log(R/G), log(B/G) by patch, each about its mean.
using Features = std::array<std::array<double, kChartPatches>, 3>;

template <typename ColourAt>
Features features_of(ColourAt colour_at) {
    const Colour& weights = white_point(kD65).xyz_of_rgb[1];
    Features features{};
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        Colour rgb = colour_at(patch);
        for (double& value : rgb) {
            value = std::max(kDarkest, value);  // takes what is not a number for dark too
        }
        features[0][patch] = std::log(weights[0] * rgb[0] + weights[1] * rgb[1] + weights[2] * rgb[2]);
        features[1][patch] = std::log(rgb[0] / rgb[1]);
        features[2][patch] = std::log(rgb[2] / rgb[1]);
    }
    for (auto& feature : features) {
        double mean = 0;
        for (const double value : feature) {
            mean += value / kChartPatches;
        }
        for (double& value : feature) {
            value -= mean;
        }
    }
    return features;
}

/// The mean of the three correlations; one without variation counts nothing.
double score(const Features& measured, const Features& reference) {
    constexpr double kNoVariation = 1e-12;
    double sum = 0;
    for (std::size_t f = 0; f < measured.size(); ++f) {
        double product = 0;
        double squares = 0;
        double reference_squares = 0;
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            product += measured[f][patch] * reference[f][patch];
            squares += measured[f][patch] * measured[f][patch];
            reference_squares += reference[f][patch] * reference[f][patch];
        }
        sum += squares > kNoVariation ? product / std::sqrt(squares * reference_squares) : 0;
    }
    return sum / static_cast<double>(measured.size());
}

}  // namespace

ChartMap::ChartMap(const Corners& corners) {
    Equations rows{};
    for (std::size_t i = 0; i < 4; ++i) {
        const auto equations = equations_of(kChart[i], corners[i]);
        rows[2 * i] = equations[0];
        rows[2 * i + 1] = equations[1];
    }
    h_ = solve(rows);
}

ChartMap::ChartMap(std::span<const Point> chart, std::span<const Point> seen) {
    Equations normal{};
    for (std::size_t i = 0; i < chart.size(); ++i) {
        for (const auto& equation : equations_of(chart[i], seen[i])) {
            for (std::size_t r = 0; r < 8; ++r) {
                for (std::size_t c = 0; c < 9; ++c) {
                    normal[r][c] += equation[r] * equation[c];
                }
            }
        }
    }
    h_ = solve(normal);
}

Corners ChartMap::corners() const {
    return {(*this)(0, 0), (*this)(kRight, 0), (*this)(kRight, kBottom), (*this)(0, kBottom)};
}

Corners ChartMap::cell(double column, double row, double margin) const {
    const double left = column + margin;
    const double right = column + 1 - margin;
    const double top = row + margin;
    const double bottom = row + 1 - margin;
    return {(*this)(left, top), (*this)(right, top), (*this)(right, bottom), (*this)(left, bottom)};
}

std::array<RoiRect, kChartPatches> windows_from_corners(const Corners& corners) {
    check_corners(corners);
    const int sense = winding(corners);
    const ChartMap map(corners);
    std::array<RoiRect, kChartPatches> windows{};
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        const auto column = static_cast<double>(patch % kChartColumns);
        const auto row = static_cast<double>(patch / kChartColumns);
        check_cell(map.cell(column, row, 0), patch);
        windows[patch] = largest_window(map.cell(column, row, kMargin), map(column + 0.5, row + 0.5), sense);
    }
    return windows;
}

std::array<std::size_t, kChartPatches> reading_order(int index) {
    std::array<std::size_t, kChartPatches> order{};
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        const std::size_t row = patch / kChartColumns;
        const std::size_t column = patch % kChartColumns;
        const std::size_t row_from_end = kChartRows - 1 - row;
        const std::size_t column_from_end = kChartColumns - 1 - column;
        switch (index) {
            case 1: order[patch] = row_from_end * kChartColumns + column_from_end; break;
            case 2: order[patch] = row * kChartColumns + column_from_end; break;
            case 3: order[patch] = row_from_end * kChartColumns + column; break;
            case 4: order[patch] = column * kChartRows + row_from_end; break;
            case 5: order[patch] = column_from_end * kChartRows + row; break;
            case 6: order[patch] = column * kChartRows + row; break;
            case 7: order[patch] = column_from_end * kChartRows + row_from_end; break;
            default: order[patch] = patch;
        }
    }
    return order;
}

Orientation find_orientation(std::span<const Colour> measured) {
    const Features reference = features_of([](std::size_t patch) -> Colour {
        const auto& encoded = kChartSrgb24[patch];
        return {srgb_decode(encoded[0]), srgb_decode(encoded[1]), srgb_decode(encoded[2])};
    });
    Orientation best;
    for (int index = 0; index < kOrientations; ++index) {
        const auto order = reading_order(index);
        const double fit = score(features_of([&](std::size_t patch) { return measured[order[patch]]; }), reference);
        if (index == 0 || fit > best.score + (best.index == 0 ? kUprightBonus : 0)) {
            best = {index, kNames[static_cast<std::size_t>(index)], fit};
        }
    }
    return best;
}

}  // namespace cali::host
