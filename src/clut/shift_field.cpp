#include "clut/shift_field.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace cali::clut {
namespace {

constexpr int kRounds = 3;

/// Shifts with the weight that they rest on; 0: nothing yet.
struct Partial {
    Field shift;
    std::vector<double> weight;

    explicit Partial(std::size_t size) : shift(size), weight(size) {}
};

/// Phase 0.
Partial gather(const Lattice& lattice, std::span<const ShiftCell> cells) {
    Partial partial(lattice.size());
    for (const ShiftCell& cell : cells) {
        const Neighbours around = neighbours_of(lattice, cell.position);
        for (std::size_t corner = 0; corner < 8; ++corner) {
            const std::size_t node = lattice.index(around.node[corner]);
            const double weight = cell.weight * around.weight[corner];
            partial.weight[node] += weight;
            for (std::size_t c = 0; c < 3; ++c) {
                partial.shift[node][c] += weight * cell.shift[c];
            }
        }
    }
    for (std::size_t i = 0; i < partial.shift.size(); ++i) {
        if (partial.weight[i] > 0) {
            for (double& component : partial.shift[i]) {
                component /= partial.weight[i];
            }
        }
    }
    return partial;
}

/// Phase 1: gaps of at most two radii between filled nodes of a line, linearly.
void interpolate_first_axis(const Lattice& lattice, double radius, Partial& partial) {
    const int32_t nodes = lattice.axis[0].nodes;
    const double most = 2 * radius * lattice.axis[0].intervals();
    for (std::size_t line = 0; line < partial.shift.size(); line += static_cast<std::size_t>(nodes)) {
        int32_t last = -1;
        for (int32_t i = 0; i < nodes; ++i) {
            const std::size_t upper = line + static_cast<std::size_t>(i);
            if (partial.weight[upper] <= 0) {
                continue;
            }
            for (int32_t k = last + 1; last >= 0 && k < i && i - last <= most; ++k) {
                const std::size_t lower = line + static_cast<std::size_t>(last);
                const std::size_t between = line + static_cast<std::size_t>(k);
                const double t = static_cast<double>(k - last) / (i - last);
                for (std::size_t c = 0; c < 3; ++c) {
                    partial.shift[between][c] = partial.shift[lower][c] * (1 - t) + partial.shift[upper][c] * t;
                }
                partial.weight[between] = std::min(partial.weight[lower], partial.weight[upper]);
            }
            last = i;
        }
    }
}

/// What lies within reach of a node, by lines along the first axis.
struct Reach {
    struct Line {
        int32_t second;  ///< steps along the other axes
        int32_t third;
        int32_t half;       ///< steps along the first, either way
        std::size_t first;  ///< of its nodes in the lists below
    };
    std::vector<Line> lines;
    std::vector<double> nearness;  ///< 1 at the node itself, 0 at the radius
    std::vector<double> squared;   ///< of that
};

Reach reach_of(const Lattice& lattice, double radius) {
    std::array<int32_t, 3> most{};
    for (std::size_t a = 0; a < 3; ++a) {
        const Axis& axis = lattice.axis[a];
        most[a] = std::min(static_cast<int32_t>(radius * axis.intervals()),
                           axis.cyclic ? (axis.nodes - 1) / 2 : axis.nodes - 1);
    }
    Reach reach;
    std::array<int32_t, 3> d{};
    for (d[2] = -most[2]; d[2] <= most[2]; ++d[2]) {
        for (d[1] = -most[1]; d[1] <= most[1]; ++d[1]) {
            const std::size_t first = reach.nearness.size();
            for (d[0] = -most[0]; d[0] <= most[0]; ++d[0]) {
                double distance_squared = 0;
                for (std::size_t a = 0; a < 3; ++a) {
                    const double distance = d[a] / (lattice.axis[a].intervals() * radius);
                    distance_squared += distance * distance;
                }
                if (distance_squared < 1) {
                    const double nearness = (1 - distance_squared) * (1 - distance_squared);
                    reach.nearness.push_back(nearness);
                    reach.squared.push_back(nearness * nearness);
                }
            }
            if (const std::size_t found = reach.nearness.size() - first; found != 0) {
                reach.lines.push_back({d[1], d[2], static_cast<int32_t>(found / 2), first});
            }
        }
    }
    return reach;
}

/// Where a step along an axis leads; nothing outside.
std::optional<int32_t> step_to(const Axis& axis, int32_t node, int32_t step) {
    const int32_t to = node + step;
    if (to >= 0 && to < axis.nodes) {
        return to;
    }
    return axis.cyclic ? std::optional(to < 0 ? to + axis.nodes : to - axis.nodes) : std::nullopt;
}

/// What nodes receive from filled ones.
class Received {
public:
    explicit Received(std::size_t nodes) : weight_(nodes), nearest_(nodes) { shift_.fill(std::vector<double>(nodes)); }

    /// Adds a shift to `count` nodes from `node` on.
    void add(std::size_t node, int32_t count, const Vector3& shift, double own, const double* nearness,
             const double* squared) {
        add_line(count, shift, own, nearness, squared, &shift_[0][node], &shift_[1][node], &shift_[2][node],
                 &weight_[node], &nearest_[node]);
    }

    /// The weighted mean times the fall-off from the nearest, where anything came.
    void replace(Partial& partial) const {
        for (std::size_t i = 0; i < weight_.size(); ++i) {
            if (weight_[i] > 0) {
                for (std::size_t c = 0; c < shift_.size(); ++c) {
                    partial.shift[i][c] = shift_[c][i] / weight_[i] * nearest_[i];
                }
                partial.weight[i] = nearest_[i];
            }
        }
    }

private:
    /// Sums lie apart, so that compilers take several nodes at a time.
    static void add_line(int32_t count, const Vector3& shift, double own, const double* __restrict nearness,
                         const double* __restrict squared, double* __restrict first, double* __restrict second,
                         double* __restrict third, double* __restrict weights, double* __restrict nearest) {
        const auto [a, b, c] = shift;
        for (int32_t i = 0; i < count; ++i) {
            const double weight = squared[i] * own;
            first[i] += weight * a;
            second[i] += weight * b;
            third[i] += weight * c;
            weights[i] += weight;
            nearest[i] = nearest[i] < nearness[i] ? nearness[i] : nearest[i];
        }
    }

    std::array<std::vector<double>, 3> shift_;  ///< weighted sums
    std::vector<double> weight_;
    std::vector<double> nearest_;
};

/// Phase 2: the mean of the filled nodes within the radius, weighted by nearness, times the fall-off from the nearest.
void fill_from_neighbours(const Lattice& lattice, const Reach& reach, Partial& partial) {
    Received received(lattice.size());
    const Axis& first_axis = lattice.axis[0];
    lattice.for_each_node([&](const std::array<int32_t, 3>& node, std::size_t source) {
        if (partial.weight[source] <= 0) {
            return;
        }
        const Vector3& shift = partial.shift[source];
        const double own = std::min(partial.weight[source], 1.0);
        for (const Reach::Line& line : reach.lines) {
            const auto second = step_to(lattice.axis[1], node[1], line.second);
            const auto third = step_to(lattice.axis[2], node[2], line.third);
            if (!second || !third) {
                continue;
            }
            const std::size_t row = lattice.index({0, *second, *third});
            const int32_t begin = node[0] - line.half;
            int32_t at = first_axis.cyclic ? begin : std::max(begin, 0);
            const int32_t end =
                first_axis.cyclic ? node[0] + line.half + 1 : std::min(node[0] + line.half + 1, first_axis.nodes);
            while (at < end) {  // once, but where the line goes around
                const int32_t to = at < 0 ? at + first_axis.nodes : at >= first_axis.nodes ? at - first_axis.nodes : at;
                const int32_t count = std::min(end - at, first_axis.nodes - to);
                const std::size_t listed = line.first + static_cast<std::size_t>(at - begin);
                received.add(row + static_cast<std::size_t>(to), count, shift, own, &reach.nearness[listed],
                             &reach.squared[listed]);
                at += count;
            }
        }
    });
    received.replace(partial);
}

/// Phase 3: border nodes that nothing reached go on from the node inside them, at half its shift.
void extrapolate_borders(const Lattice& lattice, Partial& partial) {
    lattice.for_each_node([&](const std::array<int32_t, 3>& node, std::size_t i) {
        if (partial.weight[i] > 0) {
            return;
        }
        for (std::size_t a = 0; a < 3; ++a) {
            const int32_t last = lattice.axis[a].nodes - 1;
            if (lattice.axis[a].cyclic || (node[a] != 0 && node[a] != last)) {
                continue;
            }
            const std::size_t inner = node[a] == 0 ? i + lattice.stride(a) : i - lattice.stride(a);
            for (std::size_t c = 0; c < 3 && partial.weight[inner] > 0; ++c) {
                partial.shift[i][c] = partial.shift[inner][c] / 2;
            }
        }
    });
}

/// Phases 4 and 5 work on three nodes along each axis in turn; edges repeat.
template <typename Combine>
void filter_axes(const Lattice& lattice, Field& field, Combine combine) {
    for (std::size_t a = 0; a < 3; ++a) {
        const auto nodes = static_cast<std::size_t>(lattice.axis[a].nodes);
        const std::size_t stride = lattice.stride(a);
        const std::size_t around = lattice.axis[a].cyclic ? nodes - 1 : 0;
        for (std::size_t block = 0; block < field.size(); block += nodes * stride) {
            for (std::size_t first = block; first < block + stride; ++first) {
                const Vector3 start = field[first];
                Vector3 lower = field[first + around * stride];
                for (std::size_t i = 0; i < nodes; ++i) {
                    Vector3& node = field[first + i * stride];
                    const Vector3 own = node;
                    const Vector3& upper = i + 1 < nodes ? field[first + (i + 1) * stride] : around != 0 ? start : own;
                    for (std::size_t c = 0; c < 3; ++c) {
                        node[c] = combine(lower[c], own[c], upper[c]);
                    }
                    lower = own;
                }
            }
        }
    }
}

double median(double a, double b, double c) { return std::max(std::min(a, b), std::min(std::max(a, b), c)); }

double low_pass(double a, double b, double c) { return 0.25 * a + 0.5 * b + 0.25 * c; }

Field one_round(const Lattice& lattice, std::span<const ShiftCell> cells, const FieldSettings& settings,
                const Reach& reach, const PhaseObserver& observer) {
    Partial partial = gather(lattice, cells);
    observer(0, partial.shift);
    interpolate_first_axis(lattice, settings.radius, partial);
    observer(1, partial.shift);
    fill_from_neighbours(lattice, reach, partial);
    observer(2, partial.shift);
    extrapolate_borders(lattice, partial);
    observer(3, partial.shift);
    Field field = std::move(partial.shift);
    if (settings.postprocess) {
        filter_axes(lattice, field, median);
        observer(4, field);
        filter_axes(lattice, field, low_pass);
        observer(5, field);
    }
    return field;
}

}  // namespace

Field build_field(const Lattice& lattice, std::span<const ShiftCell> cells, const FieldSettings& settings,
                  const NeutralMask& mask, const PhaseObserver& observer) {
    const Reach reach = reach_of(lattice, settings.radius);
    std::vector<double> kept(lattice.size());
    lattice.for_each_node(
        [&](const std::array<int32_t, 3>& node, std::size_t i) { kept[i] = mask(lattice.position(node)); });
    Field field(lattice.size());
    std::vector<ShiftCell> left(cells.begin(), cells.end());
    for (int round = 0; round < kRounds; ++round) {
        const Field more = one_round(
            lattice, left, settings, reach, round == 0 ? observer : [](int /*phase*/, const Field& /*field*/) {});
        for (std::size_t i = 0; i < field.size(); ++i) {
            for (std::size_t c = 0; c < 3; ++c) {
                field[i][c] += more[i][c] * kept[i];
            }
        }
        for (std::size_t k = 0; k < left.size(); ++k) {
            const Vector3 reached = sample_field(lattice, field, cells[k].position);
            for (std::size_t c = 0; c < 3; ++c) {
                left[k].shift[c] = cells[k].shift[c] - reached[c];
            }
        }
    }
    return field;
}

}  // namespace cali::clut
