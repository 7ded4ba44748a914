#include "lut/apply.h"

#include "support/recorded_calls.h"

namespace cali::test {
namespace {

TEST(RecordedCalls, ColoursThroughTables) {
    expect_recorded("lut.apply", 1000, [](Random& random, int turn, Digest& digest) {
        const std::array<int32_t, 3> nodes = {random.within(2, 6), random.within(2, 6), random.within(2, 6)};
        const lut::Lattice rgb = lut::lattice_of(lut::Domain::rgb, nodes);
        std::vector<int32_t> table(rgb.size() * 3);
        for (int32_t& value : table) {
            value = random.within(turn % 2 == 0 ? 0 : -2000, 4095);
        }
        for (int i = 0; i < 8; ++i) {
            const auto component = [&] { return static_cast<float>(random.within(-1, 17)) / 16.0F; };
            std::array<float, 3> one = {component(), component(), component()};
            std::array<float, 3> other = one;
            lut::apply_rgb_table({rgb, table.data()}, lut::Interpolation::trilinear, {&one, 1});
            lut::apply_rgb_table({rgb, table.data()}, lut::Interpolation::tetrahedral, {&other, 1});
            const lut::Vector3 colour = {random.unit(), random.unit(), i == 0 ? 1.0 : random.unit()};
            digest << one << other
                   << lut::apply_hsv_table(lut::lattice_of(lut::Domain::hsv, nodes), table.data(), colour);
        }
    });
}

}  // namespace
}  // namespace cali::test
