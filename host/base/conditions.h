/// Under what a capture was taken.
#pragma once

#include <optional>
#include <string>

namespace cali::host {

/// Colour temperature and analogue gain, where they are known: by them captures and results belong together.
struct Conditions {
    std::optional<double> illuminant_k = {};
    std::optional<double> gain = {};

    bool operator==(const Conditions&) const = default;
};

/// "5000 K at gain 4"; empty where nothing is known.
[[nodiscard]] std::string to_text(const Conditions& conditions);

}  // namespace cali::host
