/// The checks there are, and the limits they hold numbers against.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "base/finding.h"

namespace cali::host {

/// In the order of docs/limits.md.
enum class Check : std::size_t {
    dark_level,
    dark_spread,
    dark_blocks,
    dark_zero,
    dark_full_scale,
    dark_defects,
    dark_lines,
    dark_light,
    dark_frames,
    stated_black,
    flat_clipped,
    flat_dark,
    flat_level,
    flat_tilt,
    flat_dust,
    flat_residual_rms,
    flat_residual_worst,
    flat_gain_limit,
    grey_clipped,
    grey_level,
    grey_uniformity,
    grey_neutral,
    chart_clipped,
    chart_level,
    chart_dark,
    chart_orientation,
    chart_light,
    chart_window_noise,
    chart_greys,
    chart_neutral,
    chart_mean,
    chart_worst,
    chart_leave_one_out,
    chart_diagonal,
    chart_identity,
    chart_amplification,
    curve_order,
    curve_distance,
    noise_residual,
    noise_flicker,
    noise_clipped,
    noise_order,
    noise_spread,
    noise_read_noise,
    noise_rounding,
    table_need,
    table_leave_one_out,
    burst_frame,
    not_computed,
    operator_warning,
    other_sensor,
    stale,
    // Of cali diff, whose limits stand under [diff] without the first part of their names.
    diff_offset,
    diff_flatness,
    diff_mesh_largest,
    diff_mesh_rms,
    diff_radial_largest,
    diff_radial_rms,
    diff_gain,
    diff_curve_largest,
    diff_curve_rms,
    diff_matrix,
    diff_colour,
    diff_table_largest,
    diff_table_rms,
    diff_noise,
    diff_other,
    diff_missing,
};
inline constexpr std::size_t kChecks = static_cast<std::size_t>(Check::diff_missing) + 1;

struct Limit {
    double warn = 0;
    double fail = 0;
};

/// What is known of a check apart from what it measures.
struct CheckRecord {
    const char* code;
    const char* unit;
    bool high;  ///< doubtful above its limits, else below
    Limit limit;
    const char* advice;  ///< what it means, and what to do
};
[[nodiscard]] const CheckRecord& record_of(Check check);

/// The limits in force.
class Limits {
public:
    Limits();

    [[nodiscard]] const Limit& operator[](Check check) const { return limit_[static_cast<std::size_t>(check)]; }
    /// By the check's code. Throws InputError, which speaks of `where`, for an unknown code, for a number that is not
    /// finite, and where a value would fail before it warns.
    void set(const std::string& code, const Limit& limit, const std::string& where);

private:
    std::array<Limit, kChecks> limit_;
};

/// Holds what was measured on one subject against the limits, and keeps the findings.
class Judge {
public:
    Judge(const Limits& limits, Subject subject) : limits_(limits), subject_(std::move(subject)) {}

    /// What is not a number fails. Returns what came of it.
    Severity hold(Check check, double measured, const std::string& place = "", std::optional<double> uncertainty = {});
    /// Something without a number; `message` in place of the check's advice.
    void say(Check check, Severity severity, const std::string& message, const std::string& place = "");

    [[nodiscard]] Severity worst() const { return host::worst(findings_); }
    [[nodiscard]] const std::vector<Finding>& findings() const { return findings_; }
    void add(std::vector<Finding> findings) { findings_.insert(findings_.end(), findings.begin(), findings.end()); }
    [[nodiscard]] std::vector<Finding> take() { return std::move(findings_); }

private:
    const Limits& limits_;
    Subject subject_;
    std::vector<Finding> findings_;
};

}  // namespace cali::host
