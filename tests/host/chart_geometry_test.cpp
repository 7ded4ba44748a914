#include "chart_geometry.h"

#include <gtest/gtest.h>

#include <random>

#include "error.h"

namespace cali::test {
namespace {

using host::Corners;
using host::Point;
using Map = std::array<Colour, 3>;  // rows of a projective map

Point apply(const Map& m, const Point& p) {
    const auto row = [&](std::size_t i) { return m[i][0] * p.x + m[i][1] * p.y + m[i][2]; };
    return {row(0) / row(2), row(1) / row(2)};
}

/// But for a factor.
Map inverse(const Map& m) {
    Map result{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const std::size_t a = (j + 1) % 3;
            const std::size_t b = (j + 2) % 3;
            result[i][j] = m[a][(i + 1) % 3] * m[b][(i + 2) % 3] - m[a][(i + 2) % 3] * m[b][(i + 1) % 3];
        }
    }
    return result;
}

std::string error_of(const Corners& corners) {
    try {
        (void)host::windows_from_corners(corners);
    } catch (const host::InputError& problem) {
        return problem.what();
    }
    return "no error";
}

TEST(ChartWindows, TakeTheInnerHalfOfUprightCells) {
    const auto windows = host::windows_from_corners({{{100, 60}, {700, 60}, {700, 380}, {100, 380}}});
    for (int patch = 0; patch < 24; ++patch) {
        SCOPED_TRACE(patch);
        const RoiRect& window = windows[static_cast<std::size_t>(patch)];
        // 25 photosites of margin give way to the next even column.
        EXPECT_EQ(window.x, 126 + patch % 6 * 100);
        EXPECT_EQ(window.y, 80 + patch / 6 * 80);
        EXPECT_EQ(window.w, 48);
        EXPECT_EQ(window.h, 40);
    }
    const auto smallest = host::windows_from_corners({{{10, 10}, {34, 10}, {34, 26}, {10, 26}}});
    EXPECT_EQ(smallest[7].w * 10 + smallest[7].h, 22);
    EXPECT_NEAR(smallest[7].x, 15, 1);
    EXPECT_NEAR(smallest[7].y, 15, 1);
}

TEST(ChartWindows, LieInsideTheInnerHalfOfSlantedCells) {
    const Map maps[] = {
        {{{90, -20, 200}, {15, 110, 90}, {0.03, 0.06, 1}}},       // from below, slightly turned
        {{{-100, -60, 1400}, {70, -90, 900}, {-0.02, 0.04, 1}}},  // more than a quarter turned
        {{{-120, 10, 900}, {12, 95, 40}, {0.01, -0.03, 1}}},      // mirrored
    };
    for (const Map& map : maps) {
        SCOPED_TRACE(map[0][0]);
        const Map back = inverse(map);
        const auto windows = host::windows_from_corners(
            {apply(map, {0, 0}), apply(map, {6, 0}), apply(map, {6, 4}), apply(map, {0, 4})});
        for (std::size_t patch = 0; patch < 24; ++patch) {
            SCOPED_TRACE(patch);
            const RoiRect& window = windows[patch];
            const Point middle = {static_cast<double>(patch % 6) + 0.5, static_cast<double>(patch / 6) + 0.5};
            for (const int corner : {0, 1, 2, 3}) {
                const Point found = apply(back, {static_cast<double>(window.x + corner % 2 * window.w),
                                                 static_cast<double>(window.y + corner / 2 * window.h)});
                EXPECT_NEAR(found.x, middle.x, 0.25 + 1e-6);
                EXPECT_NEAR(found.y, middle.y, 0.25 + 1e-6);
            }
            EXPECT_EQ((window.x | window.y | window.w | window.h) & 1, 0);
            EXPECT_NEAR(window.x + window.w / 2, apply(map, middle).x, 1.0);
            EXPECT_NEAR(window.y + window.h / 2, apply(map, middle).y, 1.0);
            EXPECT_GE(window.w * window.h, 22 * 22);  // no token of a window
        }
    }
}

TEST(ChartWindows, RefuseWhatIsNoChart) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(error_of({{{0, 0}, {600, 0}, {0, 400}, {600, 400}}}).find("(600, 400) are no convex quadrilateral"),
              std::string::npos);
    EXPECT_NE(error_of({{{0, 0}, {600, 0}, {100, 100}, {0, 400}}}).find("no convex"), std::string::npos);
    EXPECT_NE(error_of({{{0, 0}, {600, 0}, {300, 0}, {0, 400}}}).find("no convex"), std::string::npos);
    EXPECT_NE(error_of({{{0, 0}, {nan, 0}, {600, 400}, {0, 400}}}).find("at most 65535"), std::string::npos);
    EXPECT_NE(error_of({{{0, 0}, {18, 0}, {18, 40}, {0, 40}}}).find("patch 1 of the chart has 3 x 10 photosites"),
              std::string::npos);
    // Long sides, but so slanted that little fits across.
    EXPECT_NE(error_of({{{0, 0}, {600, 0}, {1200, 12}, {600, 12}}}).find("expected at least 4 x 4"), std::string::npos);
}

TEST(ChartOrientation, ReadingOrderPutsTheChartsCornersWhereTheyAreSeen) {
    // The windows of patches 1, 6 and 19; the last four in rows of four windows.
    const std::array<std::size_t, 3> expected[] = {{0, 5, 18}, {23, 18, 5}, {5, 0, 23}, {18, 23, 0},
                                                   {3, 23, 0}, {20, 0, 23}, {0, 20, 3}, {23, 3, 20}};
    for (int index = 0; index < host::kOrientations; ++index) {
        SCOPED_TRACE(index);
        const auto order = host::reading_order(index);
        EXPECT_EQ((std::array{order[0], order[5], order[18]}), expected[index]);
    }
}

TEST(ChartOrientation, IsFoundWhateverTheExposureAndBalance) {
    std::mt19937 random(24);
    std::normal_distribution<double> noise(0.0, 0.004);
    for (int index = 0; index < host::kOrientations; ++index) {
        for (const double exposure : {0.2, 1.0, 3.0}) {
            SCOPED_TRACE(index);
            const auto order = host::reading_order(index);
            std::array<Colour, 24> measured{};
            for (std::size_t patch = 0; patch < 24; ++patch) {
                const auto linear = [&](std::size_t c) { return double{srgb_decode(kChartSrgb24[patch][c])}; };
                const double grey = (linear(0) + linear(1) + linear(2)) / 3;
                const Colour balance = {0.6, 1.0, 1.5};
                for (std::size_t c = 0; c < 3; ++c) {  // as pale as a sensor sees them
                    measured[order[patch]][c] =
                        exposure * (balance[c] * (0.5 * linear(c) + 0.5 * grey) + noise(random));
                }
            }
            const auto found = host::find_orientation(measured);
            EXPECT_EQ(found.index, index) << found.name;
        }
    }
    const std::array<Colour, 24> nothing{};
    EXPECT_STREQ(host::find_orientation(nothing).name, "upright");
}

}  // namespace
}  // namespace cali::test
