#include <array>

#include "cali/cali.h"
#include "chart/chart_table.h"
#include "lut/apply.h"
#include "workload.h"

namespace cali::bench {
namespace {

constexpr int32_t kNodes = 33;

}  // namespace

void register_clut() {
    static std::vector<ClutCell> measured;
    static std::vector<ClutCell> target;
    for (const auto& encoded : kChartSrgb24) {
        const auto r = static_cast<float>(encoded[0]);
        const auto g = static_cast<float>(encoded[1]);
        const auto b = static_cast<float>(encoded[2]);
        target.push_back({r, g, b, 1});
        measured.push_back({0.97F * r + 0.03F * g, g, 0.95F * b + 0.05F * r, 1});
    }
    static const ClutSettings settings{{kNodes, kNodes, kNodes}, 1.0F, 0.2F};
    static std::vector<int32_t> table(std::size_t{kNodes} * kNodes * kNodes * 3);
    const auto count = static_cast<int32_t>(measured.size());
    measure("cali_clut_calc, 33^3 nodes, 24 cells", {3.0, 0},
            [count] { cali_clut_calc(measured.data(), target.data(), count, &settings, table.data()); });
    measure("cali_clut_calc_rgb, 33^3 nodes, 24 cells", {3.0, 0},
            [count] { cali_clut_calc_rgb(measured.data(), target.data(), count, &settings, table.data()); });
    static std::vector<std::array<float, 3>> picture(std::size_t{kWidth} * kHeight);
    const Workload& load = Workload::get();
    for (std::size_t i = 0; i < picture.size(); ++i) {
        const auto component = [&](std::size_t shift) {
            return static_cast<float>(load.scene[(i + shift) % picture.size()]) / 4095.0F;
        };
        picture[i] = {component(0), component(1), component(2)};
    }
    static std::vector<std::array<float, 3>> work = picture;
    for (const auto& [name, interpolation] :
         {std::pair{"apply rgb table, trilinear", lut::Interpolation::trilinear},
          std::pair{"apply rgb table, tetrahedral", lut::Interpolation::tetrahedral}}) {
        measure(name, {}, [interpolation = interpolation] {
            lut::apply_rgb_table({lut::lattice_of(lut::Domain::rgb, {kNodes, kNodes, kNodes}), table.data()},
                                 interpolation, work);
        });
    }
}

}  // namespace cali::bench
