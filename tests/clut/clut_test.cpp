#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "cali/cali.h"
#include "chart/chart_table.h"
#include "lut/apply.h"
#include "lut/hsv.h"
#include "math/colour_difference.h"
#include "math/colour_space.h"
#include "support/support.h"

namespace cali::test {
namespace {

using lut::Domain;
using lut::Vector3;

constexpr ClutSettings kSettings{{33, 33, 33}, 1.0F, 0.2F};

ClutCell cell_of(const Vector3& colour) {
    return {static_cast<float>(colour[0]), static_cast<float>(colour[1]), static_cast<float>(colour[2]), 1.0F};
}

/// A chart after a matrix that cannot mend what is not linear: hues turn and saturations bend, greys stay.
std::vector<Vector3> distorted_chart(Random& random) {
    std::vector<Vector3> colours;
    for (const auto& encoded : kChartSrgb24) {
        Vector3 hsv = lut::hsv_of_rgb({encoded[0], encoded[1], encoded[2]});
        const double noise = static_cast<double>(random() % 1000) / 1e5;
        hsv[0] += 0.02 * std::sin(6.2832 * hsv[0]) * hsv[1] + 1;
        hsv[1] = std::clamp(hsv[1] * (0.9 + 0.1 * hsv[1]) + noise * hsv[1], 0.0, 1.0);
        Vector3 rgb = lut::rgb_of_hsv(hsv);
        for (double& component : rgb) {
            component = std::clamp(component, 0.0, 1.0);
        }
        colours.push_back(rgb);
    }
    return colours;
}

struct CellLists {
    std::vector<ClutCell> measured, target;
};

CellLists lists_of(const std::vector<Vector3>& measured, std::size_t left_out = kChartPatches) {
    CellLists lists;
    for (std::size_t i = 0; i < measured.size(); ++i) {
        if (i != left_out) {
            lists.measured.push_back(cell_of(measured[i]));
            lists.target.push_back(cell_of({kChartSrgb24[i][0], kChartSrgb24[i][1], kChartSrgb24[i][2]}));
        }
    }
    return lists;
}

std::vector<int32_t> table_of(Domain domain, const CellLists& lists, const ClutSettings& settings,
                              double* second_difference = nullptr) {
    std::vector<int32_t> table(static_cast<std::size_t>(settings.nodes[0] * settings.nodes[1] * settings.nodes[2] * 3));
    CapturedOutput output;
    const auto calibrate = domain == Domain::rgb ? cali_clut_calc_rgb : cali_clut_calc;
    EXPECT_EQ(calibrate(lists.measured.data(), lists.target.data(), static_cast<int32_t>(lists.measured.size()),
                        &settings, table.data()),
              0);
    const std::string text = output.take();
    if (second_difference != nullptr) {
        *second_difference = std::stod(text.substr(text.rfind("= ") + 2));
    }
    return table;
}

Vector3 through(Domain domain, const std::vector<int32_t>& table, const ClutSettings& settings, const Vector3& colour) {
    const lut::Lattice lattice = lut::lattice_of(domain, {settings.nodes[0], settings.nodes[1], settings.nodes[2]});
    if (domain == Domain::hsv) {
        return lut::apply_hsv_table(lattice, table.data(), colour);
    }
    std::array<float, 3> rgb = {static_cast<float>(colour[0]), static_cast<float>(colour[1]),
                                static_cast<float>(colour[2])};
    lut::apply_rgb_table({lattice, table.data()}, lut::Interpolation::tetrahedral, {&rgb, 1});
    return {rgb[0], rgb[1], rgb[2]};
}

double difference(const Vector3& colour, const Vector3& reference) {
    return delta_e_2000(srgb_to_lab(colour, kD65), srgb_to_lab(reference, kD65));
}

class LookUpTable : public ::testing::TestWithParam<Domain> {};

TEST_P(LookUpTable, MendsTheChartAndLeavesGreys) {
    Random random(110);
    const std::vector<Vector3> measured = distorted_chart(random);
    double second_difference = 1;
    const std::vector<int32_t> table = table_of(GetParam(), lists_of(measured), kSettings, &second_difference);
    EXPECT_LT(second_difference, 0.05);  // of an axis, between neighbours 1/32 apart
    double before = 0;
    double after = 0;
    double left_out = 0;
    for (std::size_t i = 0; i < kChartPatches; ++i) {
        before += difference(measured[i], kChartSrgb24[i]) / kChartPatches;
        after += difference(through(GetParam(), table, kSettings, measured[i]), kChartSrgb24[i]) / kChartPatches;
        const auto without = table_of(GetParam(), lists_of(measured, i), kSettings);
        left_out += difference(through(GetParam(), without, kSettings, measured[i]), kChartSrgb24[i]) / kChartPatches;
    }
    std::printf("mean dE2000: before %.3f, after %.3f, leave-one-out %.3f; second difference %.4f\n", before, after,
                left_out, second_difference);
    EXPECT_LE(after, 0.4 * before);
    EXPECT_LE(left_out, before);
    for (int i = 0; i < 64; ++i) {
        const Vector3 grey = {i / 63.0, i / 63.0, i / 63.0};
        EXPECT_LT(difference(through(GetParam(), table, kSettings, grey), grey), 0.2) << i;
    }
    // Strength 0 leaves the identity, whatever the cells.
    const ClutSettings none{{9, 8, 7}, 0.0F, 0.2F};
    const std::vector<int32_t> identity = table_of(GetParam(), lists_of(measured), none);
    for (const Vector3& colour : measured) {
        EXPECT_LT(difference(through(GetParam(), identity, none, colour), colour), 0.3);
    }
}

TEST_P(LookUpTable, KeepsNeighboursInOrder) {
    // Targets exchanged between neighbours: the shifts cross.
    Random random(111);
    CellLists lists;
    for (int i = 0; i < 40; ++i) {
        const auto colour = [&] {
            return Vector3{static_cast<double>(random() % 1000) / 999, static_cast<double>(random() % 1000) / 999,
                           static_cast<double>(random() % 1000) / 999};
        };
        lists.measured.push_back(cell_of(colour()));
        lists.target.push_back(cell_of(colour()));
    }
    const ClutSettings settings{{17, 12, 9}, 1.0F, 0.3F};
    const std::vector<int32_t> table = table_of(GetParam(), lists, settings);
    const lut::Lattice lattice = lut::lattice_of(GetParam(), {17, 12, 9});
    lattice.for_each_node([&](const std::array<int32_t, 3>& node, std::size_t i) {
        for (std::size_t a = 0; a < 3; ++a) {
            if (node[a] + 1 == lattice.axis[a].nodes) {
                continue;
            }
            const std::size_t next = i + lattice.stride(a);
            const auto output = [&](std::size_t at, int32_t n) {
                const double position = lattice.axis[a].position(n);
                const int32_t value = table[at * 3 + a];
                return GetParam() == Domain::rgb ? value
                       : a == 0                  ? position + value / (360.0 * 64)
                                                 : position * value / 1024.0;
            };
            // Scales are whole 1/1024: order holds to their rounding.
            ASSERT_GE(output(next, node[a] + 1), output(i, node[a]) - 1.0 / 1024) << "axis " << a;
        }
    });
}

INSTANTIATE_TEST_SUITE_P(Domains, LookUpTable, ::testing::Values(Domain::hsv, Domain::rgb),
                         [](const auto& instance) { return instance.param == Domain::hsv ? "hsv" : "rgb"; });

TEST(LookUpTableHsv, HueWraps) {
    // Reds on either side of hue 0, both to be turned by 10 degrees.
    CellLists lists;
    for (const double hue : {-0.01, 0.01}) {
        lists.measured.push_back(cell_of(lut::rgb_of_hsv({hue, 0.8, 0.8})));
        lists.target.push_back(cell_of(lut::rgb_of_hsv({hue + 10.0 / 360, 0.8, 0.8})));
    }
    const std::vector<int32_t> table = table_of(Domain::hsv, lists, kSettings);
    const Vector3 found = lut::hsv_of_rgb(through(Domain::hsv, table, kSettings, lut::rgb_of_hsv({0.999, 0.8, 0.8})));
    EXPECT_NEAR(found[0] * 360, 10 - 0.36, 1);
    const Vector3 opposite = lut::hsv_of_rgb(through(Domain::hsv, table, kSettings, lut::rgb_of_hsv({0.5, 0.8, 0.8})));
    EXPECT_NEAR(opposite[0] * 360, 180, 0.05);
}

TEST(LookUpTableApply, InterpolationsAgreeOnLinearTables) {
    Random random(112);
    const lut::Lattice lattice = lut::lattice_of(Domain::rgb, {5, 9, 33});
    std::vector<int32_t> table;
    lattice.for_each_node([&](const std::array<int32_t, 3>& node, std::size_t /*i*/) {
        table.insert(table.end(),
                     {node[0] * 500 + node[1] * 100 + node[2] * 30, node[1] * 400 + 50, 4000 - node[2] * 100});
    });
    for (int i = 0; i < 2000; ++i) {
        const auto component = [&] { return static_cast<float>(random() % 4096) / 4095.0F; };
        std::array<float, 3> a = {component(), component(), i % 10 == 0 ? 1.0F : component()};
        std::array<float, 3> b = a;
        const std::array<float, 3> in = a;
        lut::apply_rgb_table({lattice, table.data()}, lut::Interpolation::trilinear, {&a, 1});
        lut::apply_rgb_table({lattice, table.data()}, lut::Interpolation::tetrahedral, {&b, 1});
        const float expected = (in[0] * 4 * 500 + in[1] * 8 * 100 + in[2] * 32 * 30) / 4095;
        EXPECT_NEAR(a[0], expected, 1e-5F);
        for (std::size_t c = 0; c < 3; ++c) {
            ASSERT_NEAR(a[c], b[c], 1e-5F);
        }
    }
}

TEST(LookUpTableSwitches, AreEchoedAndWriteThePhases) {
    const TemporaryDirectory directory;
    Random random(113);
    const CellLists lists = lists_of(distorted_chart(random));
    const ClutSettings settings{{4, 5, 6}, 1.0F, 0.5F};
    std::vector<int32_t> table(4 * 5 * 6 * 3);
    setenv("CLUT_EXPORT_TABLE", "2", 1);
    setenv("CLUT_BYPASS_POSTPROCESS", "0", 1);
    const auto run = [&] {
        CapturedOutput output;
        EXPECT_EQ(cali_clut_calc_rgb(lists.measured.data(), lists.target.data(), 24, &settings, table.data()), 0);
        return output.take();
    };
    EXPECT_EQ(run().rfind("CLUT_EXPORT_TABLE = 2\nCLUT_BYPASS_POSTPROCESS = 0\nclut inversions = ", 0), 0U);
    EXPECT_EQ(read_file("clut_input.txt").substr(0, 3), "24\n");
    for (const char* phase : {"0", "1", "2", "3", "4", "5", "final"}) {
        const std::string text = read_file(std::string("clut_phase_") + phase + ".txt");
        EXPECT_EQ(text.substr(0, 12), "4 5 6\n0 0 0 ") << phase;
        EXPECT_EQ(std::ranges::count(text, '\n'), 1 + 4 * 5 * 6) << phase;
    }
    // Without post-processing its phases do not happen.
    std::filesystem::remove("clut_phase_4.txt");
    setenv("CLUT_BYPASS_POSTPROCESS", "1", 1);
    (void)run();
    EXPECT_EQ(read_file("clut_phase_4.txt"), "");
    unsetenv("CLUT_EXPORT_TABLE");
    unsetenv("CLUT_BYPASS_POSTPROCESS");
    std::filesystem::remove("clut_input.txt");
    EXPECT_EQ(run().rfind("clut inversions = ", 0), 0U);
    EXPECT_EQ(read_file("clut_input.txt"), "");
}

TEST(LookUpTableRejection, NamesWhatIsWrong) {
    std::vector<int32_t> table(33 * 33 * 33 * 3, 7);
    struct Damage {
        const char* named;
        void (*apply)(CellLists&, ClutSettings&, int32_t&);
    };
    const Damage damages[] = {
        {"cell_count is 0", [](CellLists&, ClutSettings&, int32_t& count) { count = 0; }},
        {"measured[3]", [](CellLists& cells, ClutSettings&, int32_t&) { cells.measured[3].g = 1.01F; }},
        {"target[0]", [](CellLists& cells, ClutSettings&,
                         int32_t&) { cells.target[0].b = std::numeric_limits<float>::quiet_NaN(); }},
        {"weight", [](CellLists& cells, ClutSettings&, int32_t&) { cells.measured[5].weight = -1; }},
        {"nodes is 1", [](CellLists&, ClutSettings& settings, int32_t&) { settings.nodes[2] = 1; }},
        {"nodes is 66", [](CellLists&, ClutSettings& settings, int32_t&) { settings.nodes[0] = 66; }},
        {"strength", [](CellLists&, ClutSettings& settings, int32_t&) { settings.strength = 1.5F; }},
        {"radius", [](CellLists&, ClutSettings& settings, int32_t&) { settings.radius = 0; }},
    };
    for (const auto calibrate : {cali_clut_calc, cali_clut_calc_rgb}) {
        for (const Damage& damage : damages) {
            Random random(114);
            CellLists lists = lists_of(distorted_chart(random));
            ClutSettings settings = kSettings;
            int32_t count = 24;
            damage.apply(lists, settings, count);
            const CapturedWarnings warnings;
            EXPECT_EQ(calibrate(lists.measured.data(), lists.target.data(), count, &settings, table.data()), -1);
            ASSERT_EQ(warnings.texts().size(), 1U) << damage.named;
            EXPECT_EQ(warnings.texts()[0].rfind("CLUT Calib Warning: ", 0), 0U);
            EXPECT_NE(warnings.texts()[0].find(damage.named), std::string::npos) << warnings.texts()[0];
        }
        const CapturedWarnings warnings;
        EXPECT_EQ(calibrate(nullptr, nullptr, 24, &kSettings, table.data()), -1);
        const CellLists one = {{cell_of({0.2, 0.3, 0.4})}, {cell_of({0.3, 0.3, 0.4})}};
        EXPECT_EQ(calibrate(one.measured.data(), one.target.data(), 1, nullptr, table.data()), -1);
        EXPECT_EQ(calibrate(one.measured.data(), one.target.data(), 1, &kSettings, nullptr), -1);
    }
    EXPECT_EQ(table, std::vector<int32_t>(33 * 33 * 33 * 3, 7));
}

}  // namespace
}  // namespace cali::test
