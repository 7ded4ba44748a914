/// Files that are read as one text.
#pragma once

#include <filesystem>
#include <string>

namespace cali::host {

/// Throws InputError, which calls the file `what`, where there is none or it cannot be read.
[[nodiscard]] std::string read_text_file(const std::filesystem::path& file, const char* what);

}  // namespace cali::host
