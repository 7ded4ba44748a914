#include "lut/lattice.h"

#include <algorithm>
#include <cmath>

namespace cali::lut {

Lattice lattice_of(Domain domain, const std::array<int32_t, 3>& nodes) {
    return {{Axis{nodes[0], domain == Domain::hsv}, Axis{nodes[1], false}, Axis{nodes[2], false}}};
}

Neighbours neighbours_of(const Lattice& lattice, const Vector3& position) {
    std::array<std::array<int32_t, 2>, 3> node{};
    std::array<double, 3> fraction{};
    for (std::size_t a = 0; a < 3; ++a) {
        const Axis& axis = lattice.axis[a];
        const double at = (axis.cyclic ? position[a] - std::floor(position[a]) : position[a]) * axis.intervals();
        const auto last = axis.cyclic ? axis.nodes - 1 : axis.nodes - 2;
        const auto lower = std::clamp(static_cast<int32_t>(at), 0, last);
        node[a] = {lower, axis.cyclic ? (lower + 1) % axis.nodes : lower + 1};
        fraction[a] = at - lower;
    }
    Neighbours result;
    for (std::size_t corner = 0; corner < 8; ++corner) {
        result.weight[corner] = 1;
        for (std::size_t a = 0; a < 3; ++a) {
            const std::size_t upper = corner >> a & 1U;
            result.node[corner][a] = node[a][upper];
            result.weight[corner] *= upper != 0 ? fraction[a] : 1 - fraction[a];
        }
    }
    return result;
}

Vector3 sample_field(const Lattice& lattice, const Field& field, const Vector3& position) {
    const Neighbours around = neighbours_of(lattice, position);
    Vector3 value{};
    for (std::size_t corner = 0; corner < 8; ++corner) {
        const Vector3& at_node = field[lattice.index(around.node[corner])];
        for (std::size_t c = 0; c < 3; ++c) {
            value[c] += around.weight[corner] * at_node[c];
        }
    }
    return value;
}

}  // namespace cali::lut
