#include "lut/apply.h"

#include <algorithm>

#include "lut/hsv.h"

namespace cali::lut {
namespace {

constexpr float kPerCode = 1.0F / 4095.0F;

/// Where a colour lies in its cell.
struct Place {
    std::size_t first;
    std::array<float, 3> fraction;
};

Place place_of(const std::array<int32_t, 3>& nodes, const std::array<std::size_t, 3>& stride,
               const std::array<float, 3>& colour) {
    Place place{0, {}};
    for (std::size_t a = 0; a < 3; ++a) {
        const float at = std::clamp(colour[a], 0.0F, 1.0F) * static_cast<float>(nodes[a] - 1);
        const int32_t lower = std::min(static_cast<int32_t>(at), nodes[a] - 2);
        place.first += static_cast<std::size_t>(lower) * stride[a];
        place.fraction[a] = at - static_cast<float>(lower);
    }
    return place;
}

std::array<float, 3> trilinear(const int32_t* cell, const std::array<std::size_t, 3>& stride,
                               const std::array<float, 3>& f) {
    std::array<float, 3> result{};
    for (std::size_t corner = 0; corner < 8; ++corner) {
        float weight = 1;
        std::size_t offset = 0;
        for (std::size_t a = 0; a < 3; ++a) {
            const bool upper = (corner >> a & 1U) != 0;
            weight *= upper ? f[a] : 1 - f[a];
            offset += upper ? stride[a] : 0;
        }
        for (std::size_t c = 0; c < 3; ++c) {
            result[c] += weight * static_cast<float>(cell[offset * 3 + c]);
        }
    }
    return result;
}

/// From corner to corner along the axes by falling fraction.
std::array<float, 3> tetrahedral(const int32_t* cell, const std::array<std::size_t, 3>& stride,
                                 const std::array<float, 3>& f) {
    std::array<std::size_t, 3> order = {0, 1, 2};
    if (f[order[0]] < f[order[1]]) {
        std::swap(order[0], order[1]);
    }
    if (f[order[1]] < f[order[2]]) {
        std::swap(order[1], order[2]);
    }
    if (f[order[0]] < f[order[1]]) {
        std::swap(order[0], order[1]);
    }
    const std::array<float, 4> weight = {1 - f[order[0]], f[order[0]] - f[order[1]], f[order[1]] - f[order[2]],
                                         f[order[2]]};
    std::array<float, 3> result{};
    std::size_t offset = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        for (std::size_t c = 0; c < 3; ++c) {
            result[c] += weight[k] * static_cast<float>(cell[offset * 3 + c]);
        }
        offset += k < 3 ? stride[order[k]] : 0;
    }
    return result;
}

}  // namespace

void apply_rgb_table(const RgbTable& table, Interpolation interpolation, std::span<std::array<float, 3>> colours) {
    const std::array<int32_t, 3> nodes = {table.lattice.axis[0].nodes, table.lattice.axis[1].nodes,
                                          table.lattice.axis[2].nodes};
    const std::array<std::size_t, 3> stride = {table.lattice.stride(0), table.lattice.stride(1),
                                               table.lattice.stride(2)};
    for (std::array<float, 3>& colour : colours) {
        const Place place = place_of(nodes, stride, colour);
        const int32_t* const cell = table.value + place.first * 3;
        const std::array<float, 3> codes = interpolation == Interpolation::trilinear
                                               ? trilinear(cell, stride, place.fraction)
                                               : tetrahedral(cell, stride, place.fraction);
        colour = {codes[0] * kPerCode, codes[1] * kPerCode, codes[2] * kPerCode};
    }
}

Vector3 apply_hsv_table(const Lattice& lattice, const int32_t* value, const Vector3& rgb) {
    const Vector3 hsv = hsv_of_rgb(rgb);
    const Neighbours around = neighbours_of(lattice, hsv);
    Vector3 sum{};
    for (std::size_t corner = 0; corner < 8; ++corner) {
        const std::size_t node = lattice.index(around.node[corner]);
        for (std::size_t c = 0; c < 3; ++c) {
            sum[c] += around.weight[corner] * value[node * 3 + c];
        }
    }
    return rgb_of_hsv({hsv[0] + sum[0] / (360 * 64), std::clamp(hsv[1] * sum[1] / 1024, 0.0, 1.0),
                       std::clamp(hsv[2] * sum[2] / 1024, 0.0, 1.0)});
}

}  // namespace cali::lut
