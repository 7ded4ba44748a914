#include "clut/table.h"

#include <cmath>

#include "chart/chart_table.h"
#include "lut/apply.h"
#include "lut/hsv.h"
#include "math/colour_difference.h"
#include "support/support.h"

namespace cali::test {
namespace {

using lut::Domain;
using lut::Vector3;

clut::Table table_of(Domain domain, const std::vector<clut::ColourCell>& cells, std::array<int32_t, 3> nodes) {
    clut::TableReport report;
    return clut::build_table(
        cells, {domain, nodes, 1.0, {}}, [](int, const clut::Field&) {}, report);
}

Vector3 through(const clut::Table& table, const Vector3& colour) {
    if (table.lattice.axis[0].cyclic) {
        return lut::apply_hsv_table(table.lattice, table.value.data(), colour);
    }
    std::array<float, 3> rgb{};
    std::ranges::transform(colour, rgb.begin(), [](double component) { return static_cast<float>(component); });
    lut::apply_rgb_table({table.lattice, table.value.data()}, lut::Interpolation::tetrahedral, {&rgb, 1});
    return {rgb[0], rgb[1], rgb[2]};
}

double difference(const Vector3& colour, const Vector3& reference) {
    return delta_e_2000(srgb_to_lab(colour, kD65), srgb_to_lab(reference, kD65));
}

/// A chart after a matrix that cannot mend what is not linear: hues turn and saturations bend, greys stay.
TEST(LookUpTable, MendsTheChartAndLeavesGreys) {
    std::vector<clut::ColourCell> cells;
    for (const auto& encoded : kChartSrgb24) {
        Vector3 hsv = lut::hsv_of_rgb(encoded);
        hsv[0] += 0.02 * std::sin(6.2832 * hsv[0]) * hsv[1] + 1;
        hsv[1] *= 0.9 + 0.1 * hsv[1];
        cells.push_back({lut::rgb_of_hsv(hsv), encoded, 1});
    }
    for (const Domain domain : {Domain::hsv, Domain::rgb}) {
        const clut::Table table = table_of(domain, cells, {17, 17, 17});
        double before = 0;
        double after = 0;
        for (const auto& [measured, target, weight] : cells) {
            before += difference(measured, target);
            after += difference(through(table, measured), target);
        }
        EXPECT_LE(after, 0.2 * before);
        for (int i = 0; i < 64; ++i) {
            const Vector3 grey = {i / 63.0, i / 63.0, i / 63.0};
            EXPECT_LT(difference(through(table, grey), grey), 0.2) << i;
        }
    }
}

/// Reds on either side of hue 0, both to be turned by 10 degrees.
TEST(LookUpTable, HueWraps) {
    std::vector<clut::ColourCell> cells;
    for (const double hue : {-0.01, 0.01}) {
        cells.push_back({lut::rgb_of_hsv({hue, 0.8, 0.8}), lut::rgb_of_hsv({hue + 10.0 / 360, 0.8, 0.8}), 1});
    }
    const clut::Table table = table_of(Domain::hsv, cells, {33, 33, 33});
    for (const auto& [degrees, turned, tolerance] : {std::array{359.64, 9.64, 1.0}, {180.0, 180.0, 0.05}}) {
        const Vector3 found = lut::hsv_of_rgb(through(table, lut::rgb_of_hsv({degrees / 360, 0.8, 0.8})));
        EXPECT_NEAR(found[0] * 360, turned, tolerance);
    }
}

}  // namespace
}  // namespace cali::test
