/// What a black-level calibration is asked for.
#pragma once

#include <string>

namespace cali::host {

/// `given` is no method: the offsets are known.
enum class BlackLevelMethod { median, mean, mean_deviation, given };
inline constexpr std::size_t kBlackLevelMethods = 3;  ///< that measure

[[nodiscard]] const char* method_name(BlackLevelMethod method);
/// One that measures. Throws InputError.
[[nodiscard]] BlackLevelMethod parse_method(const std::string& text, const std::string& where);

}  // namespace cali::host
