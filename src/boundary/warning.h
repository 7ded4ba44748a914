/// Operator warnings: a modal message box on Windows, one line on standard error elsewhere.
#pragma once

namespace cali {

/// The export families, in the order of their captions.
enum class Family { wb, blc, lsc, ccm, roi, noise, clut };

/// "WB Calib Warning" and so on.
[[nodiscard]] const char* warning_caption(Family family);

/// Shows `text` to the operator. A warning does not by itself fail a call. Never throws.
void warn(Family family, const char* text) noexcept;

/// Receives caption and text in place of the platform's way of showing them.
using WarningSink = void (*)(const char* caption, const char* text);

/// Tests replace the sink; nullptr restores the platform's. Returns the one in force before.
WarningSink set_warning_sink(WarningSink sink) noexcept;

}  // namespace cali
