/// Bytes as text (RFC 4648).
#pragma once

#include <string>
#include <string_view>

namespace cali::host {

[[nodiscard]] std::string base64(std::string_view bytes);

/// Throws InputError, which speaks of `where`.
[[nodiscard]] std::string from_base64(std::string_view text, const std::string& where);

}  // namespace cali::host
