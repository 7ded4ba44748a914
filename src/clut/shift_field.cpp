#include "clut/shift_field.h"

#include <algorithm>

#include "clut/spread.h"

namespace cali::clut {
namespace {

constexpr int kRounds = 3;

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

/// Phases 4 and 5 work on three nodes along each axis in turn; edges repeat. What lies side by side across the axis is
/// taken together, so that compilers take several values at a time.
template <typename Combine>
void filter_axes(const Lattice& lattice, Field& field, Combine combine) {
    for (std::size_t a = 0; a < 3; ++a) {
        const auto nodes = static_cast<std::size_t>(lattice.axis[a].nodes);
        const std::size_t width = lattice.stride(a) * 3;
        const bool cyclic = lattice.axis[a].cyclic;
        std::vector<double> before((nodes + 2) * width);  // with the nodes beyond either end
        double* const own = before.data() + width;
        double* block = field.data()->data();
        for (std::size_t first = 0; first < field.size(); first += nodes * lattice.stride(a), block += nodes * width) {
            std::copy_n(block, nodes * width, own);
            std::copy_n(cyclic ? own + (nodes - 1) * width : own, width, before.data());
            std::copy_n(cyclic ? own : own + (nodes - 1) * width, width, own + nodes * width);
            for (std::size_t i = 0; i < nodes * width; ++i) {
                block[i] = combine(before[i], before[i + width], before[i + 2 * width]);
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
    spread(lattice, reach, partial);
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
    const Reach reach(lattice, settings.radius);
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
