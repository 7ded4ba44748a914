/// Colour look-up tables from cells.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "clut/shift_field.h"
#include "lut/table.h"

namespace cali::clut {

using lut::Table;

/// Encoded colours, each component within 0..1.
struct ColourCell {
    Vector3 measured;
    Vector3 target;
    double weight;
};

struct TableSettings {
    Domain domain = Domain::rgb;
    std::array<int32_t, 3> nodes{33, 33, 33};
    double strength = 1;
    FieldSettings field;
};

/// What the last step found.
struct TableReport {
    int32_t inversions = 0;                ///< neighbours out of order along an axis, before they were resolved
    double largest_second_difference = 0;  ///< along any axis, of the node's shift in units of its axis
};

/// Whether a measured colour has a hue; without one an hsv table has nothing to go by.
[[nodiscard]] bool any_saturated(std::span<const ColourCell> cells);

/// Hue wraps, the neutral axis stays, nodes far from any cell stay, neighbouring nodes keep their order along each
/// axis. Throws std::bad_alloc.
[[nodiscard]] Table build_table(std::span<const ColourCell> cells, const TableSettings& settings,
                                const PhaseObserver& observer, TableReport& report);

}  // namespace cali::clut
