/// Nodes over a three-dimensional colour domain, and what is stored at them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace cali::lut {

using Vector3 = std::array<double, 3>;

/// Node i of an axis of n nodes sits at i / (n - 1); on a cyclic one (hue) at i / n of the circle.
struct Axis {
    int32_t nodes = 2;
    bool cyclic = false;

    [[nodiscard]] double intervals() const { return cyclic ? nodes : nodes - 1; }
    [[nodiscard]] double position(int32_t i) const { return i / intervals(); }
};

/// The first axis runs fastest.
struct Lattice {
    std::array<Axis, 3> axis;

    [[nodiscard]] std::size_t size() const {
        return static_cast<std::size_t>(axis[0].nodes) * static_cast<std::size_t>(axis[1].nodes) *
               static_cast<std::size_t>(axis[2].nodes);
    }
    [[nodiscard]] std::size_t stride(std::size_t a) const {
        return a == 0   ? 1
               : a == 1 ? static_cast<std::size_t>(axis[0].nodes)
                        : static_cast<std::size_t>(axis[0].nodes) * static_cast<std::size_t>(axis[1].nodes);
    }
    [[nodiscard]] std::size_t index(const std::array<int32_t, 3>& node) const {
        return static_cast<std::size_t>(node[0]) + static_cast<std::size_t>(node[1]) * stride(1) +
               static_cast<std::size_t>(node[2]) * stride(2);
    }
    [[nodiscard]] Vector3 position(const std::array<int32_t, 3>& node) const {
        return {axis[0].position(node[0]), axis[1].position(node[1]), axis[2].position(node[2])};
    }

    /// Calls `use(node, index)` for every node, in the order of the table.
    template <typename Use>
    void for_each_node(Use use) const {
        std::size_t i = 0;
        std::array<int32_t, 3> node{};
        for (node[2] = 0; node[2] < axis[2].nodes; ++node[2]) {
            for (node[1] = 0; node[1] < axis[1].nodes; ++node[1]) {
                for (node[0] = 0; node[0] < axis[0].nodes; ++node[0]) {
                    use(node, i++);
                }
            }
        }
    }
};

enum class Domain { hsv, rgb };

/// Hue is cyclic.
[[nodiscard]] Lattice lattice_of(Domain domain, const std::array<int32_t, 3>& nodes);

/// The eight nodes around a position, with the weights of trilinear interpolation.
struct Neighbours {
    std::array<std::array<int32_t, 3>, 8> node{};
    std::array<double, 8> weight{};
};
[[nodiscard]] Neighbours neighbours_of(const Lattice& lattice, const Vector3& position);

/// A shift of the colour at every node.
using Field = std::vector<Vector3>;

[[nodiscard]] Vector3 sample_field(const Lattice& lattice, const Field& field, const Vector3& position);

}  // namespace cali::lut
