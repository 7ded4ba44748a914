#include "detection/flat_regions.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace cali::test {
namespace {

using host::FlatRegion;

/// What is brighter than the rest, by its pixel's column and row.
std::vector<FlatRegion> regions_of(const std::function<bool(int, int)>& bright) {
    host::SmallPicture picture;
    picture.width = 160;
    picture.height = 120;
    for (auto& plane : picture.level) {
        for (int y = 0; y < picture.height; ++y) {
            for (int x = 0; x < picture.width; ++x) {
                plane.push_back(bright(x, y) ? 0.8F : 0.3F);
            }
        }
    }
    return flat_regions(picture);
}

/// Edges are two pixels wide, one of them the region's own.
TEST(FlatRegions, AreCompactAndNeitherLongNorHollowNorTooSmallOrLarge) {
    const auto rectangle = [](int left, int top, int width, int height) {
        return [=](int x, int y) { return x >= left && y >= top && x < left + width && y < top + height; };
    };
    struct Case {
        const char* name;
        std::function<bool(int, int)> bright;
        double area;  ///< 0: none is found
    };
    const auto ring = [&](int x, int y) { return rectangle(40, 40, 30, 30)(x, y) && !rectangle(54, 54, 2, 2)(x, y); };
    const auto hollow = [&](int x, int y) {
        return rectangle(40, 40, 30, 30)(x, y) && !rectangle(46, 46, 18, 18)(x, y);
    };
    const auto slanted = [](int x, int y) { return y >= 40 && y < 60 && 2 * x >= 80 + y && 2 * x < 120 + y; };
    for (const auto& [name, bright, area] : std::vector<Case>{{"square", rectangle(40, 40, 20, 20), 18 * 18},
                                                              {"oblong", rectangle(40, 40, 26, 12), 24 * 10},
                                                              {"bar", rectangle(40, 40, 34, 12), 0},
                                                              {"upright bar", rectangle(40, 40, 12, 34), 0},
                                                              {"slanted", slanted, 17 * 18},
                                                              {"hollow", hollow, 16 * 16},  // what it goes around
                                                              {"ring", ring, 28 * 28 - 4 * 4},
                                                              {"dot", rectangle(40, 40, 4, 4), 2 * 2},
                                                              {"smaller dot", rectangle(40, 40, 3, 4), 0},
                                                              {"large", rectangle(40, 40, 36, 36), 0}}) {
        const std::vector<FlatRegion> found = regions_of(bright);
        ASSERT_EQ(found.size(), area > 0 ? 1U : 0U) << name;
        if (area > 0) {
            EXPECT_EQ(found[0].area, area) << name;
        }
    }
    // One for each, the largest first, in coordinates where pixel 0 reaches from 0 to 1.
    const auto two =
        regions_of([&](int x, int y) { return rectangle(20, 30, 10, 10)(x, y) || rectangle(31, 30, 20, 20)(x, y); });
    ASSERT_EQ(two.size(), 2U);
    EXPECT_EQ(two[0].centre.x, 41);
    EXPECT_EQ(two[0].centre.y, 40);
    EXPECT_EQ(two[1].centre.x, 25);
    EXPECT_EQ(two[1].centre.y, 35);
}

}  // namespace
}  // namespace cali::test
