/// Colours through a table.
#pragma once

#include <span>

#include "lut/table.h"

namespace cali::lut {

enum class Interpolation { trilinear, tetrahedral };

/// A view of an rgb table.
struct RgbTable {
    Lattice lattice;
    const int32_t* value;
};

/// Encoded colours, in place; components are limited to 0..1 first.
void apply_rgb_table(const RgbTable& table, Interpolation interpolation, std::span<std::array<float, 3>> colours);

/// One encoded colour through an hsv table, trilinear.
[[nodiscard]] Vector3 apply_hsv_table(const Lattice& lattice, const int32_t* value, const Vector3& rgb);

}  // namespace cali::lut
