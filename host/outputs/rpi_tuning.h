/// JSON tuning files, version 2.0, of the rpi stack.
#pragma once

#include "outputs/stack_tables.h"
#include "outputs/stack_tuning.h"

namespace cali::host {

struct RpiTarget {
    const char* name;  ///< as the file's "target"
    TableLayout shading;
};
inline constexpr RpiTarget kBcm2835 = {"bcm2835", {16, 12, false}};
inline constexpr RpiTarget kPisp = {"pisp", {32, 32, false}};

/// Codes of these files have 16 bits.
[[nodiscard]] StackValues rpi_values(const CameraValues& values, const RpiTarget& target);

[[nodiscard]] ExportText rpi_tuning(const CameraValues& values, const RpiTarget& target);

/// Into `base`, whose target has to be the same. Throws InputError.
[[nodiscard]] ExportText update_rpi_tuning(const CameraValues& values, const RpiTarget& target, const std::string& base,
                                           const std::string& file);

}  // namespace cali::host
