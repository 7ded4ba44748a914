/// What a noise profile is asked for.
#pragma once

#include <optional>
#include <string>

#include "captures/geometry.h"

namespace cali::host {

struct NoiseSettings {
    std::optional<Window> window;  ///< default: the centre, as large as sound sums allow
    int ref_level = 1024;          ///< code at which the level register holds the noise
    std::string slope_format = "U4.12";
    std::string level_format = "U10.0";
};

/// Throws InputError where a register format has no form such as "U4.8".
void check_noise_format(const std::string& format, const std::string& where);

}  // namespace cali::host
