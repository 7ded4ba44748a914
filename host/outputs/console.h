/// Sections as readable text.
#pragma once

#include <filesystem>

#include "base/section.h"

namespace cali::host {

/// Title, tables and notes on standard output; warnings on standard error.
void print(const Section& section);

/// "written: FILE".
void print_written(const std::filesystem::path& file);

}  // namespace cali::host
