#include "calibrations/chart_geometry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "base/error.h"

namespace cali::test {
namespace {

using host::Corners;
using host::Point;
using Map = std::array<Colour, 3>;  // rows of a projective map

Point apply(const Map& m, const Point& p) {
    const auto row = [&](std::size_t i) { return m[i][0] * p.x + m[i][1] * p.y + m[i][2]; };
    return {row(0) / row(2), row(1) / row(2)};
}

/// The other way: two equations that are linear in the chart's coordinates.
Point undo(const Map& m, double x, double y) {
    const auto row = [&](const Colour& r, double at) {
        return Colour{r[0] - at * m[2][0], r[1] - at * m[2][1], at * m[2][2] - r[2]};
    };
    const Colour a = row(m[0], x);
    const Colour b = row(m[1], y);
    const double scale = a[0] * b[1] - a[1] * b[0];
    return {(a[2] * b[1] - a[1] * b[2]) / scale, (a[0] * b[2] - a[2] * b[0]) / scale};
}

bool refused(const Corners& corners, const char* text) {
    try {
        (void)host::windows_from_corners(corners);
    } catch (const host::InputError& problem) {
        return std::string(problem.what()).find(text) != std::string::npos;
    }
    return false;
}

TEST(ChartWindows, TakeTheInnerHalfOfUprightCells) {
    const auto windows = host::windows_from_corners({{{100, 60}, {700, 60}, {700, 380}, {100, 380}}});
    for (int patch = 0; patch < 24; ++patch) {
        const RoiRect& window = windows[static_cast<std::size_t>(patch)];
        // 25 photosites of margin give way to the next even column.
        EXPECT_EQ((std::array{window.x, window.y, window.w, window.h}),
                  (std::array{126 + patch % 6 * 100, 80 + patch / 6 * 80, 48, 40}));
    }
    const auto smallest = host::windows_from_corners({{{9, 10}, {33, 10}, {33, 26}, {9, 26}}});
    EXPECT_EQ((std::array{smallest[1].x, smallest[1].w, smallest[1].h}), (std::array{14, 2, 2}));
}

TEST(ChartWindows, LieInsideTheInnerHalfOfSlantedCells) {
    const Map maps[] = {
        {{{90, -20, 200}, {15, 110, 90}, {0.03, 0.06, 1}}},       // from below, slightly turned
        {{{-100, -60, 1400}, {70, -90, 900}, {-0.02, 0.04, 1}}},  // more than a quarter turned
        {{{-120, 10, 900}, {12, 95, 40}, {0.01, -0.03, 1}}},      // mirrored
    };
    for (const Map& map : maps) {
        const auto windows = host::windows_from_corners(
            {apply(map, {0, 0}), apply(map, {6, 0}), apply(map, {6, 4}), apply(map, {0, 4})});
        for (std::size_t patch = 0; patch < 24; ++patch) {
            SCOPED_TRACE(patch);
            const auto [x, y, w, h] = windows[patch];
            const Point middle = {static_cast<double>(patch % 6) + 0.5, static_cast<double>(patch / 6) + 0.5};
            // How far from the middle of the cell a window reaches that is larger by `more` photosites all round.
            const auto reach = [&, x = x, y = y, w = w, h = h](int more) {
                double furthest = 0;
                for (const int column : {x - more, x + w + more}) {
                    for (const int row : {y - more, y + h + more}) {
                        const Point found = undo(map, column, row);
                        furthest = std::max({furthest, std::abs(found.x - middle.x), std::abs(found.y - middle.y)});
                    }
                }
                return furthest;
            };
            EXPECT_LE(reach(0), 0.25 + 1e-6);
            EXPECT_GT(reach(2), 0.25);
            EXPECT_EQ((x | y | w | h) & 1, 0);
            EXPECT_NEAR(x + w / 2, apply(map, middle).x, 1.0);
            EXPECT_NEAR(y + h / 2, apply(map, middle).y, 1.0);
        }
    }
}

TEST(ChartWindows, RefuseWhatIsNoChart) {
    EXPECT_TRUE(refused({{{0, 0}, {600, 0}, {0, 400}, {600, 400}}}, "(600, 400) are no convex quadrilateral"));
    EXPECT_TRUE(refused({{{0, 0}, {600, 0}, {100, 100}, {0, 400}}}, "no convex"));
    EXPECT_TRUE(refused({{{0, 0}, {600, 0}, {300, 0}, {0, 400}}}, "no convex"));
    EXPECT_TRUE(refused({{{0, 0}, {std::nan(""), 0}, {600, 400}, {0, 400}}}, "at most 65535"));
    EXPECT_TRUE(refused({{{0, 0}, {18, 0}, {18, 40}, {0, 40}}}, "patch 1 of the chart has 3 x 10 photosites"));
    // Long sides, but so slanted that little fits across.
    EXPECT_TRUE(refused({{{0, 0}, {600, 0}, {1200, 12}, {600, 12}}}, "expected at least 4 x 4"));
}

TEST(ChartOrientation, ReadingOrderPutsTheChartsCornersWhereTheyAreSeen) {
    // The windows of patches 1, 6 and 19; the last four in rows of four windows.
    const std::array<std::size_t, 3> expected[] = {{0, 5, 18}, {23, 18, 5}, {5, 0, 23}, {18, 23, 0},
                                                   {3, 23, 0}, {20, 0, 23}, {0, 20, 3}, {23, 3, 20}};
    for (int index = 0; index < host::kOrientations; ++index) {
        const auto order = host::reading_order(index);
        EXPECT_EQ((std::array{order[0], order[5], order[18]}), expected[index]) << index;
    }
}

TEST(ChartOrientation, IsFoundWhateverTheExposureAndBalance) {
    std::mt19937 random(24);
    std::normal_distribution<double> noise(0.0, 0.004);
    const Colour balance = {0.6, 1.0, 1.5};
    for (int index = 0; index < host::kOrientations; ++index) {
        const double exposure = 0.2 + 0.4 * index;
        const auto order = host::reading_order(index);
        std::array<Colour, 24> measured{};
        for (std::size_t patch = 0; patch < 24; ++patch) {
            const auto linear = [&](std::size_t c) { return double{srgb_decode(kChartSrgb24[patch][c])}; };
            for (std::size_t c = 0; c < 3; ++c) {  // as pale as a sensor sees them
                const double pale = 0.5 * linear(c) + (linear(0) + linear(1) + linear(2)) / 6;
                measured[order[patch]][c] = exposure * (balance[c] * pale + noise(random));
            }
        }
        EXPECT_EQ(host::find_orientation(measured).index, index);
    }
    EXPECT_STREQ(host::find_orientation(std::array<Colour, 24>{}).name, "upright");
}

}  // namespace
}  // namespace cali::test
