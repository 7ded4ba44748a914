/// What names of files and folders say about captures.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace cali::host {

enum class CaptureKind { dark, flat, grey, chart, noise };

/// "dark frames", "flat fields" and so on.
[[nodiscard]] const char* kind_name(CaptureKind kind);

struct NameParts {
    std::optional<CaptureKind> kind;
    std::optional<double> illuminant_k;  ///< 1000 to 25000
    std::optional<double> gain;
    std::string level;  ///< of a noise series: "3"; frames of one level have the same
};

/// Parts between '_', '-', '.' and blanks, of the name and of the folders that `file`, a relative path, names:
/// "dark_1", "flat_5000K_2", "alsc_5000k_1" (a flat field), "grey_..", "chart_..", "NAME_5000k_120l" (a chart),
/// "noise_LEVEL_2", "noise/LEVEL/2", "series_LEVEL_2"; "g4" is a gain. A name counts more than its folders.
[[nodiscard]] NameParts name_parts(const std::filesystem::path& file);

}  // namespace cali::host
