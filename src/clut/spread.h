/// How the filled nodes of a field fill those around them.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "lut/lattice.h"

namespace cali::clut {

/// Shifts with the weight that they rest on; 0: nothing yet.
struct Partial {
    lut::Field shift;
    std::vector<double> weight;

    explicit Partial(std::size_t size) : shift(size), weight(size) {}
};

/// What lies within a radius of a node, by lines along the first axis.
class Reach {
public:
    struct Line {
        int32_t half;            ///< steps either way
        const double* nearness;  ///< 1 at the node itself, 0 at the radius; of -half first, 0 behind the last
        const double* squared;   ///< of that
    };

    /// `radius` in units of the axes. Throws std::bad_alloc.
    Reach(const lut::Lattice& lattice, double radius);

    /// From one node of the second or third axis, which have ends, to another. None where that is out of reach.
    [[nodiscard]] std::optional<int32_t> step(std::size_t axis, int32_t from, int32_t to) const;
    /// That so many steps along the second and third axis lead to; empty where none of its nodes is within reach.
    [[nodiscard]] std::optional<Line> line(int32_t second, int32_t third) const;

private:
    struct Place {
        int32_t half = -1;
        std::size_t first = 0;  ///< of its nodes in the lists below
    };

    std::array<lut::Axis, 3> axis_;
    std::array<int32_t, 3> most_{};
    std::vector<Place> lines_;
    std::vector<double> nearness_;
    std::vector<double> squared_;
};

/// A node becomes the mean of the filled nodes within reach, weighted by nearness, times the fall-off from the nearest.
/// Throws std::bad_alloc.
void spread(const lut::Lattice& lattice, const Reach& reach, Partial& partial);

}  // namespace cali::clut
