/// Calibrated values proved on another capture.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/section.h"
#include "calibrations/colour_matrix_settings.h"
#include "captures/frame.h"
#include "results/results.h"
#include "session/steps.h"

namespace cali::host {

enum class ProofKind { flat, grey, chart };

/// Where a session places what is measured.
struct SessionPlaces {
    std::optional<Window> grey;
    ChartPlace chart;
};

struct Proof {
    Section section;
    std::vector<Finding> findings;
};

/// A flat field before and after mesh and radial shading, the channels of a grey card, or the patches of a chart behind
/// the matrix of the light, each judged by the limits of its calibration. `values` is what the front end applies.
/// Throws InputError, CalibrationError.
[[nodiscard]] Proof prove(ProofKind kind, const Capture& capture, const Results& stored, const TuningValues& values,
                          const SessionPlaces& places, const StepRules& rules);

/// One line on what is applied.
[[nodiscard]] std::string applied_values(const TuningValues& values);

}  // namespace cali::host
