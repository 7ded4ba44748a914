#include "colour_difference.h"

#include <gtest/gtest.h>

namespace cali::test {
namespace {

// From the test data of Sharma, Wu and Dalal, 2005.
TEST(ColourDifference, Ciede2000GivesThePublishedValues) {
    struct Pair {
        Colour lab1;
        Colour lab2;
        double expected;
    };
    const Pair pairs[] = {
        // blue, where the rotation term counts
        {{50, 2.6772, -79.7751}, {50, 0, -82.7485}, 2.0425},
        {{50, 3.1571, -77.2803}, {50, 0, -82.7485}, 2.8615},
        {{50, -1.3802, -84.2814}, {50, 0, -82.7485}, 1.0000},
        {{22.7233, 20.0904, -46.6940}, {23.0331, 14.9730, -42.5619}, 2.0373},
        // a grey beside a colour; hues just short of half a turn apart and just beyond
        {{50, 0, 0}, {50, -1, 2}, 2.3669},
        {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0009}, 7.1792},
        {{50, 2.4900, -0.0010}, {50, -2.4900, 0.0011}, 7.2195},
        {{50, -0.0010, 2.4900}, {50, 0.0009, -2.4900}, 4.8045},
        {{50, -0.0010, 2.4900}, {50, 0.0011, -2.4900}, 4.7461},
        // hues on either side of 0
        {{50, 2.5, 0}, {50, 0, -2.5}, 4.3065},
        {{50, 2.5, 0}, {73, 25, -18}, 27.1492},
        {{50, 2.5, 0}, {61, -5, 29}, 22.8977},
        {{50, 2.5, 0}, {56, -27, -3}, 31.9030},
        {{61.2901, 3.7196, -5.3901}, {61.4292, 2.2480, -4.9620}, 1.8731},
        {{35.0831, -44.1164, 3.7933}, {35.0232, -40.0716, 1.5901}, 1.8645},
        {{63.0109, -31.0961, -5.8663}, {62.8187, -29.7946, -4.0864}, 1.2630},
        // light and dark
        {{90.9257, -0.5406, -0.9208}, {88.6381, -0.8985, -0.7239}, 1.5381},
        {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (const Pair& p : pairs) {
        SCOPED_TRACE(p.expected);
        EXPECT_NEAR(host::delta_e_2000(p.lab1, p.lab2), p.expected, 5e-5);
        EXPECT_NEAR(host::delta_e_2000(p.lab2, p.lab1), p.expected, 5e-5);
    }
    EXPECT_NEAR(host::delta_e_2000({50, -0.0, 0}, {50, -1, 2}), 2.3669, 5e-5);  // a grey with a negative zero
}

TEST(ColourDifference, SummaryNamesTheWorstPatch) {
    const std::vector<Colour> lab = {{50, 0, 0}, {50, 3, 4}, {40, 2, 1}};
    const std::vector<Colour> reference = {{51, 0, 0}, {50, 0, 0}, {42, 4, 0}};
    const auto summary = host::summarise(lab, reference, host::delta_e_1976);
    EXPECT_EQ(summary.per_patch, (std::vector<double>{1, 5, 3}));
    EXPECT_NEAR(summary.mean, 3, 1e-12);
    EXPECT_EQ(summary.worst, 5);
    EXPECT_EQ(summary.worst_patch, 1U);
}

}  // namespace
}  // namespace cali::test
