/// Numbers and sizes as messages, tables and files show them.
#pragma once

#include <filesystem>
#include <string>

#include "core/printf_format.h"

namespace cali::host {

/// printf into a text of any length.
[[gnu::format(CALI_PRINTF_FORMAT, 1, 2)]] [[nodiscard]] std::string text(const char* format, ...);

/// A file by its name in UTF-8, as options and documents hold it; the standard's own conversion is another on Windows.
[[nodiscard]] std::filesystem::path path_of(const std::string& name);

/// "1920 x 1080".
[[nodiscard]] std::string by(int width, int height);

/// "12.3 %".
[[nodiscard]] std::string percent(double share);

}  // namespace cali::host
