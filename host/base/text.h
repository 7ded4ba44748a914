/// Numbers and sizes as messages, tables and files show them.
#pragma once

#include <string>

namespace cali::host {

/// printf into a text of any length.
[[gnu::format(printf, 1, 2)]] [[nodiscard]] std::string text(const char* format, ...);

/// "1920 x 1080".
[[nodiscard]] std::string by(int width, int height);

/// "12.3 %".
[[nodiscard]] std::string percent(double share);

}  // namespace cali::host
