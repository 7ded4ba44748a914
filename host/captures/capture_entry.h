/// What a session names as one exposure.
#pragma once

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/conditions.h"
#include "base/error.h"

namespace cali::host {

/// Colour temperatures that lights may have, in kelvin.
inline constexpr double kLeastLightK = 1000;
inline constexpr double kMostLightK = 40000;

/// Analogue gains that captures may have, 1 = ISO 100.
inline constexpr double kLeastGain = 0.01;
inline constexpr double kMostGain = 10000;
inline constexpr double kMostExposureMs = 3.6e6;

/// A capture, or the frames of a burst that are averaged.
struct CaptureEntry {
    std::vector<std::filesystem::path> files;  ///< one or more
    Conditions taken;                          ///< a gain overrides the file's own
    std::optional<double> exposure_ms;         ///< likewise

    /// That stands for the entry.
    [[nodiscard]] const std::filesystem::path& file() const { return files.front(); }
};

/// Of an entry of results, which holds them itself or with its input.
template <typename Entry>
[[nodiscard]] const Conditions& conditions_of(const Entry& entry) {
    if constexpr (requires { entry.taken; }) {
        return entry.taken;
    } else {
        return entry.input.taken;
    }
}

/// Likewise; empty for entries of several files.
template <typename Entry>
[[nodiscard]] std::filesystem::path file_of(const Entry& entry) {
    if constexpr (requires { entry.file; }) {
        return entry.file;
    } else if constexpr (requires { entry.input.file; }) {
        return entry.input.file;
    } else {
        return {};
    }
}

/// The entries of the light that is nearest by reciprocal temperature, of these the one whose gain is nearest by ratio;
/// the first where nothing is known, none of none.
template <typename Entry>
[[nodiscard]] const Entry* nearest_entry(const std::vector<Entry>& entries, const Conditions& conditions) {
    constexpr double kFar = std::numeric_limits<double>::infinity();
    const auto distance = [&](const Entry& entry) {
        const Conditions& other = conditions_of(entry);
        return std::pair(conditions.illuminant_k && other.illuminant_k
                             ? std::abs(1 / *conditions.illuminant_k - 1 / *other.illuminant_k)
                             : kFar,
                         conditions.gain && other.gain ? std::abs(std::log(*conditions.gain / *other.gain)) : kFar);
    };
    const auto nearest = std::ranges::min_element(entries, {}, distance);
    return nearest == entries.end() ? nullptr : &*nearest;
}

/// The only entry, or that of a light, with the nearest gain; `what` speaks of the entries. Throws InputError, which
/// names what there is.
template <typename Entry>
[[nodiscard]] const Entry& choose_entry(const std::vector<Entry>& entries, const Conditions& conditions,
                                        const std::filesystem::path& file, const std::string& what,
                                        const std::string& expected) {
    const auto fits = [&](const Entry& entry) {
        return !conditions.illuminant_k || conditions_of(entry).illuminant_k == conditions.illuminant_k;
    };
    std::vector<Entry> fitting;
    std::ranges::copy_if(entries, std::back_inserter(fitting), fits);
    const bool one_light = std::ranges::all_of(fitting, [&](const Entry& entry) {
        return conditions_of(entry).illuminant_k == conditions_of(fitting.front()).illuminant_k &&
               (conditions_of(entry).gain || fitting.size() == 1);
    });
    if (!fitting.empty() && one_light && (conditions.gain || fitting.size() == 1)) {
        const Entry* const nearest = nearest_entry(fitting, conditions);
        return *std::ranges::find(entries, conditions_of(*nearest), conditions_of<Entry>);
    }
    std::string known;
    for (const Entry& entry : entries) {
        const Conditions& taken = conditions_of(entry);
        known +=
            (known.empty() ? "" : ", ") +
            (taken == Conditions{} ? file_of(entry).filename().generic_string() + " (no light given)" : to_text(taken));
    }
    if (known.empty()) {
        throw InputError(file.string() + ": holds no " + what + ", expected " + expected);
    }
    throw InputError(file.string() + ": holds " + what + " for " + known + "; choose one with --illuminant" +
                     (one_light && !fitting.empty() ? " and --gain" : ""));
}

}  // namespace cali::host
