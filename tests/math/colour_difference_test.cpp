#include "math/colour_difference.h"

#include <gtest/gtest.h>

#include <tuple>

namespace cali::test {
namespace {

// From the test data of Sharma, Wu and Dalal, 2005.
TEST(ColourDifference, Ciede2000GivesThePublishedValues) {
    const std::tuple<Colour, Colour, double> pairs[] = {
        // blue, where the rotation term counts
        {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
        {{50, -1.3802, -84.2814}, {50, 0, -82.7485}, 1.0000},
        {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
        // a grey beside a colour; hues just short of half a turn apart and just beyond
        {{50, 0, 0}, {50, -1, 2}, 2.3669},
        {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0009}, 7.1792},
        {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0011}, 7.2195},
        {{50, -0.0010, 2.4900}, {50, 0.0011, -2.4900}, 4.7461},
        // hues on either side of 0
        {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
        {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
        {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
        // light and dark
        {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
        {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (const auto& [lab1, lab2, expected] : pairs) {
        EXPECT_NEAR(delta_e_2000(lab1, lab2), expected, 5e-5);
        EXPECT_NEAR(delta_e_2000(lab2, lab1), expected, 5e-5);
    }
    EXPECT_NEAR(delta_e_2000({50, -0.0, 0}, {50, -1, 2}), 2.3669, 5e-5);  // a grey with a negative zero
}

TEST(ColourDifference, SummaryNamesTheWorstPatch) {
    const std::vector<Colour> lab = {{50, 0, 0}, {50, 3, 4}, {40, 2, 1}};
    const std::vector<Colour> reference = {{51, 0, 0}, {50, 0, 0}, {42, 4, 0}};
    const auto summary = summarise(lab, reference, delta_e_1976);
    EXPECT_EQ(summary.per_patch, (std::vector<double>{1, 5, 3}));
    EXPECT_NEAR(summary.mean, 3, 1e-12);
    EXPECT_EQ(std::pair(summary.worst, summary.worst_patch), (std::pair<double, std::size_t>(5, 1)));
}

}  // namespace
}  // namespace cali::test
