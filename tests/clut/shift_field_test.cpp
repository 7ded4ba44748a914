#include "clut/shift_field.h"

#include <gtest/gtest.h>

#include <cmath>

namespace cali::test {
namespace {

/// Two cells on one node, of unequal weights, and another four nodes on; the second axis has borders next to them.
TEST(ShiftField, PhasesDoWhatTheySay) {
    const clut::Lattice lattice = clut::lattice_of(clut::Domain::rgb, {9, 3, 2});
    const clut::Vector3 left = {0.25, 0.5, 0};
    const std::vector<clut::ShiftCell> cells = {
        {left, {0, 0.1, 0}, 1}, {left, {0, 0.4, 0}, 3}, {{0.75, 0.5, 0}, {0, 0.725, 0}, 1}};
    std::vector<clut::Field> phases;
    (void)clut::build_field(
        lattice, cells, {0.26, true}, [](const clut::Vector3&) { return 1.0; },
        [&](int phase, const clut::Field& field) {
            EXPECT_EQ(phase, static_cast<int>(phases.size()));
            phases.push_back(field);
        });
    ASSERT_EQ(phases.size(), 6U);
    const auto at = [&](std::size_t phase, const std::array<int32_t, 3>& node) {
        return phases[phase][lattice.index(node)][1];
    };
    // 0: the weighted mean. 1: the gap of four nodes, below two radii.
    const std::array gathered = {0.0, 0.0, 0.325, 0.0, 0.0, 0.0, 0.725, 0.0, 0.0};
    const std::array bridged = {0.0, 0.0, 0.325, 0.425, 0.525, 0.625, 0.725, 0.0, 0.0};
    for (int32_t i = 0; i < 9; ++i) {
        EXPECT_NEAR(at(0, {i, 1, 0}), gathered[static_cast<std::size_t>(i)], 1e-12) << i;
        EXPECT_NEAR(at(1, {i, 1, 0}), bridged[static_cast<std::size_t>(i)], 1e-12) << i;
    }
    // 2: beyond them as far as the radius of 2.08 nodes, along the first axis only.
    const double two_away = std::pow(1 - std::pow(2 / 2.08, 2), 2);
    EXPECT_NEAR(at(2, {0, 1, 0}), 0.325 * two_away, 1e-12);
    EXPECT_NEAR(at(2, {8, 1, 0}), 0.725 * two_away, 1e-12);
    EXPECT_EQ(at(2, {4, 0, 0}), 0);
    // 3: half of it on the borders beside.
    for (const std::array<int32_t, 3>& beside : {std::array{4, 0, 0}, {4, 2, 0}, {4, 1, 1}}) {
        EXPECT_NEAR(at(3, beside), at(2, {4, 1, 0}) / 2, 1e-12);
    }
    EXPECT_EQ(at(3, {4, 0, 1}), 0);
    // 4: the peak falls to its higher neighbour along the first axis, to the borders' half along the second.
    EXPECT_NEAR(at(4, {6, 1, 0}), at(2, {5, 1, 0}) / 2, 1e-12);
}

}  // namespace
}  // namespace cali::test
