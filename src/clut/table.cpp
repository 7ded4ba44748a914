#include "clut/table.h"

#include <algorithm>
#include <cmath>

#include "core/arithmetic.h"
#include "lut/hsv.h"

namespace cali::clut {
namespace {

constexpr double kMaskRamp = 0.06;         ///< of chroma or saturation, beyond the nodes around the neutral axis
constexpr double kLeastSaturation = 0.02;  ///< of a cell in the HSV domain: below, its hue says nothing
constexpr double kMostScale = 4;
constexpr double kFullScale = 4095;
constexpr double kScaleUnity = 1024;
constexpr double kHueUnits = 360 * 64;

double wrap_turn(double hue) { return hue - std::floor(hue + 0.5); }

std::vector<ShiftCell> rgb_cells(std::span<const ColourCell> cells) {
    std::vector<ShiftCell> shifts;
    for (const ColourCell& cell : cells) {
        const auto& [measured, target, weight] = cell;
        shifts.push_back(
            {measured, {target[0] - measured[0], target[1] - measured[1], target[2] - measured[2]}, weight});
    }
    return shifts;
}

std::vector<ShiftCell> hsv_cells(std::span<const ColourCell> cells) {
    std::vector<ShiftCell> shifts;
    for (const ColourCell& cell : cells) {
        const Vector3 from = lut::hsv_of_rgb(cell.measured);
        const Vector3 to = lut::hsv_of_rgb(cell.target);
        if (from[1] < kLeastSaturation || from[2] <= 0) {
            continue;
        }
        const double hue = to[1] < kLeastSaturation ? 0 : wrap_turn(to[0] - from[0]);
        shifts.push_back({from,
                          {hue, std::min(to[1] / from[1], kMostScale) - 1, std::min(to[2] / from[2], kMostScale) - 1},
                          cell.weight});
    }
    return shifts;
}

/// Nothing moves at nodes whose cells the neutral axis crosses.
NeutralMask neutral_mask(Domain domain, const Lattice& lattice) {
    double step = 0;
    for (const Axis& axis : lattice.axis) {
        step = std::max(step, 1 / axis.intervals());
    }
    if (domain == Domain::hsv) {
        return [](const Vector3& hsv) { return std::min(hsv[1] / kMaskRamp, 1.0); };
    }
    return [step](const Vector3& rgb) {
        const double chroma = std::max({rgb[0], rgb[1], rgb[2]}) - std::min({rgb[0], rgb[1], rgb[2]});
        return std::clamp((chroma - step * 1.0001) / kMaskRamp, 0.0, 1.0);
    };
}

/// Pool adjacent violators: the nearest sequence that does not fall.
int32_t make_rising(std::vector<double>& line) {
    int32_t inversions = 0;
    std::vector<std::pair<double, std::size_t>> pools;
    for (std::size_t i = 0; i < line.size(); ++i) {
        inversions += i > 0 && line[i] < line[i - 1] ? 1 : 0;
        pools.emplace_back(line[i], 1);
        while (pools.size() > 1 && pools[pools.size() - 2].first > pools.back().first) {
            const auto [mean, count] = pools.back();
            pools.pop_back();
            auto& [lower, lower_count] = pools.back();
            lower = (lower * static_cast<double>(lower_count) + mean * static_cast<double>(count)) /
                    static_cast<double>(lower_count + count);
            lower_count += count;
        }
    }
    std::size_t i = 0;
    for (const auto& [mean, count] : pools) {
        std::fill_n(line.begin() + static_cast<std::ptrdiff_t>(i), count, mean);
        i += count;
    }
    return inversions;
}

/// Calls `use(first index, stride, nodes)` for every line of nodes along an axis.
template <typename Use>
void for_each_line(const Lattice& lattice, std::size_t a, Use use) {
    lattice.for_each_node([&](const std::array<int32_t, 3>& node, std::size_t i) {
        if (node[a] == 0) {
            use(i, lattice.stride(a), lattice.axis[a].nodes);
        }
    });
}

/// What component a of a node's colour becomes.
double moved(Domain domain, std::size_t a, double position, double shift) {
    return domain == Domain::hsv && a != 0 ? position * (1 + shift) : position + shift;
}

double shift_to(Domain domain, std::size_t a, double position, double wanted, double before) {
    if (domain == Domain::hsv && a != 0) {
        return position > 0 ? wanted / position - 1 : before;
    }
    return wanted - position;
}

/// Limits every component to its range and puts neighbours in order; counts what was not.
int32_t keep_order(Domain domain, const Lattice& lattice, Field& field) {
    int32_t inversions = 0;
    for (std::size_t a = 0; a < 3; ++a) {
        const Axis& axis = lattice.axis[a];
        for_each_line(lattice, a, [&](std::size_t first, std::size_t stride, int32_t nodes) {
            std::vector<double> line;
            for (int32_t i = 0; i < nodes; ++i) {
                const double to =
                    moved(domain, a, axis.position(i), field[first + static_cast<std::size_t>(i) * stride][a]);
                line.push_back(axis.cyclic ? to : std::clamp(to, 0.0, 1.0));
            }
            inversions += make_rising(line);
            // Around the circle the last node comes before the first, one turn on.
            if (axis.cyclic && line.front() + 1 < line.back()) {
                ++inversions;
                const double middle = (line.front() + 1 + line.back()) / 2;
                for (double& to : line) {
                    to = std::clamp(to, middle - 1, middle);
                }
            }
            for (int32_t i = 0; i < nodes; ++i) {
                double& shift = field[first + static_cast<std::size_t>(i) * stride][a];
                shift = shift_to(domain, a, axis.position(i), line[static_cast<std::size_t>(i)], shift);
            }
        });
    }
    return inversions;
}

double largest_second_difference(const Lattice& lattice, const Field& field) {
    double largest = 0;
    for (std::size_t a = 0; a < 3; ++a) {
        for_each_line(lattice, a, [&](std::size_t first, std::size_t stride, int32_t nodes) {
            for (int32_t i = 1; i + 1 < nodes; ++i) {
                const std::size_t at = first + static_cast<std::size_t>(i) * stride;
                for (std::size_t c = 0; c < 3; ++c) {
                    largest =
                        std::max(largest, std::abs(field[at - stride][c] - 2 * field[at][c] + field[at + stride][c]));
                }
            }
        });
    }
    return largest;
}

std::vector<int32_t> to_fixed_point(Domain domain, const Lattice& lattice, const Field& field) {
    std::vector<int32_t> table;
    table.reserve(field.size() * 3);
    lattice.for_each_node([&](const std::array<int32_t, 3>& node, std::size_t i) {
        const Vector3 position = lattice.position(node);
        for (std::size_t c = 0; c < 3; ++c) {
            table.push_back(domain == Domain::rgb
                                ? std::clamp(add_half_and_truncate((position[c] + field[i][c]) * kFullScale), 0, 4095)
                            : c == 0 ? add_half_and_truncate(field[i][c] * kHueUnits)
                                     : std::max(add_half_and_truncate((1 + field[i][c]) * kScaleUnity), 0));
        }
    });
    return table;
}

}  // namespace

bool any_saturated(std::span<const ColourCell> cells) { return !hsv_cells(cells).empty(); }

Table build_table(std::span<const ColourCell> cells, const TableSettings& settings, const PhaseObserver& observer,
                  TableReport& report) {
    Table table{lattice_of(settings.domain, settings.nodes), {}};
    const std::vector<ShiftCell> shifts = settings.domain == Domain::rgb ? rgb_cells(cells) : hsv_cells(cells);
    Field field =
        build_field(table.lattice, shifts, settings.field, neutral_mask(settings.domain, table.lattice), observer);
    for (Vector3& shift : field) {
        for (double& component : shift) {
            component *= settings.strength;
        }
    }
    report.inversions = keep_order(settings.domain, table.lattice, field);
    report.largest_second_difference = largest_second_difference(table.lattice, field);
    table.value = to_fixed_point(settings.domain, table.lattice, field);
    return table;
}

}  // namespace cali::clut
