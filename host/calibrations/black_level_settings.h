/// What a black-level calibration is asked for.
#pragma once

#include <string>

namespace cali::host {

enum class BlackLevelMethod { median, mean, mean_deviation };
inline constexpr std::size_t kBlackLevelMethods = 3;

[[nodiscard]] const char* method_name(BlackLevelMethod method);
/// Throws InputError.
[[nodiscard]] BlackLevelMethod parse_method(const std::string& text, const std::string& where);

}  // namespace cali::host
