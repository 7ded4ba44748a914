/// Results of a calibration as a file: results.json. docs/results.md describes it.
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "base/json.h"
#include "results/results.h"

namespace cali::host {

/// The document. File names are written relative to `folder` where they lie below it; as they are where none is given.
[[nodiscard]] Json to_json(Results results, const std::optional<std::filesystem::path>& folder);
/// Everything that was written. Throws InputError.
[[nodiscard]] Results from_json(const Json& document, const std::optional<std::filesystem::path>& folder);

/// The file's whole content.
[[nodiscard]] std::string results_text(const std::filesystem::path& file, const Results& results);

/// Throws InputError.
/// A document, `what` in messages: "results file". Throws InputError.
[[nodiscard]] Json read_json(const std::filesystem::path& file, const char* what,
                             const std::vector<std::string>& enough = {});

[[nodiscard]] Results read_results(const std::filesystem::path& file);

/// Before a file is replaced: what its runs wrote; nothing where the file is of another schema or its list is damaged.
/// Throws InputError for a file that holds no results.
[[nodiscard]] std::vector<std::filesystem::path> outputs_to_replace(const std::filesystem::path& file);

}  // namespace cali::host
