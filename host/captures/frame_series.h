/// Series of frames at several brightness levels.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

namespace cali::host {

/// Frames of the same flat patch.
struct SeriesLevel {
    std::vector<std::filesystem::path> files;
    std::optional<double> gain = {};  ///< analogue; else what the files tell
};

/// Levels of a folder: its subfolders, or else its files grouped by their names up to the last '_', dark to bright by
/// number. Throws InputError.
[[nodiscard]] std::vector<SeriesLevel> levels_of_folder(const std::filesystem::path& folder);

}  // namespace cali::host
