/// Files that are read.
#pragma once

#include <filesystem>
#include <fstream>

namespace cali::host {

/// From the file's beginning; a stream that has failed where there is no such file, or none that can be read: never a
/// pipe, for which one would wait. Throws std::bad_alloc where it is memory that is missing.
[[nodiscard]] std::ifstream open_input(const std::filesystem::path& file);

}  // namespace cali::host
