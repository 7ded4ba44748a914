/// Files that are read.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace cali::host {

/// From the file's beginning. Throws InputError, which calls the file `what`, where there is none, or it cannot be read
/// or is none: a folder, or a pipe, for which one would wait. Throws std::bad_alloc where it is memory that is missing.
[[nodiscard]] std::ifstream open_input(const std::filesystem::path& file, const std::string& what = "file");

}  // namespace cali::host
