/// Results of a calibration as a file: results.json. docs/results.md describes it.
#pragma once

#include <filesystem>
#include <string>

#include "results/results.h"

namespace cali::host {

/// File names are written relative to `folder` where they lie below it.
[[nodiscard]] std::string to_json_text(Results results, const std::filesystem::path& folder);

void write_results(const std::filesystem::path& file, const Results& results);

/// Everything that was written. Throws InputError.
[[nodiscard]] Results read_results(const std::filesystem::path& file);

/// Before a file is replaced: what its runs wrote; nothing where the file is of another schema or its list is damaged.
/// Throws InputError for a file that holds no results.
[[nodiscard]] std::vector<std::filesystem::path> outputs_to_replace(const std::filesystem::path& file);

}  // namespace cali::host
