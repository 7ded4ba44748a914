/// The outcome of a check.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/conditions.h"

namespace cali::host {

enum class Severity { pass, warn, fail };

[[nodiscard]] const char* severity_name(Severity severity);
/// Throws InputError.
[[nodiscard]] Severity parse_severity(const std::string& text, const std::string& where);

/// What a check looked at.
struct Subject {
    std::string calibration;        ///< key of its section in the results: "black_level"
    std::filesystem::path capture;  ///< empty where it is of several
    Conditions taken;               ///< of the capture
};

struct Finding {
    std::string code;  ///< of the check: "dark_spread"
    Severity severity = Severity::pass;
    Subject subject;
    std::string place;            ///< "rr", "patch 7", "level 3"; empty: all of it
    std::optional<double> value;  ///< measured; none where there is no number to it
    std::string unit;
    std::optional<double> limit;             ///< that was crossed; of a pass the one to a warning
    std::string message;                     ///< what was measured and what to do
    std::optional<double> uncertainty = {};  ///< standard uncertainty of the value, where it is known
};

/// The worst; pass where there are none.
[[nodiscard]] Severity worst(const std::vector<Finding>& findings);

/// "warn: dark_1.raw: dark_spread is 9.5 codes (rr), limit 8: ...".
[[nodiscard]] std::string to_text(const Finding& finding);

}  // namespace cali::host
