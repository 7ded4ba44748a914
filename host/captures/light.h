/// Captures and results by the light they belong to.
#pragma once

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "base/error.h"

namespace cali::host {

/// Colour temperatures that lights may have, in kelvin.
inline constexpr double kLeastLightK = 1000;
inline constexpr double kMostLightK = 40000;

/// A capture under one light; its colour temperature in kelvin.
struct LitCapture {
    std::filesystem::path file;
    std::optional<double> illuminant_k;
};

/// The only entry, or the one of a light; `what` speaks of the entries. Throws InputError, which names the lights.
template <typename Lit>
[[nodiscard]] const Lit& choose_by_light(const std::vector<Lit>& entries, std::optional<double> illuminant_k,
                                         const std::filesystem::path& file, const std::string& what,
                                         const std::string& expected) {
    std::string known;
    for (const Lit& entry : entries) {
        if (!illuminant_k ? entries.size() == 1 : entry.illuminant_k == illuminant_k) {
            return entry;
        }
        known += (known.empty() ? "" : ", ") + (entry.illuminant_k
                                                    ? std::to_string(std::lround(*entry.illuminant_k)) + " K"
                                                    : entry.file.filename().generic_string() + " (no light given)");
    }
    if (known.empty()) {
        throw InputError(file.string() + ": holds no " + what + ", expected " + expected);
    }
    throw InputError(file.string() + ": holds " + what + " for " + known + "; choose one with --illuminant");
}

/// The entry whose light is nearest (by reciprocal temperature); the first where lights are unknown, none of none.
template <typename Lit>
[[nodiscard]] const Lit* nearest_light(const std::vector<Lit>& entries, std::optional<double> illuminant_k) {
    const auto distance = [&](const Lit& entry) {
        return illuminant_k && entry.illuminant_k ? std::abs(1 / *illuminant_k - 1 / *entry.illuminant_k)
                                                  : std::numeric_limits<double>::infinity();
    };
    const auto nearest = std::ranges::min_element(entries, {}, distance);
    return nearest == entries.end() ? nullptr : &*nearest;
}

}  // namespace cali::host
