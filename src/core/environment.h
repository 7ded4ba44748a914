/// Variables of the process's environment.
#pragma once

#include <optional>
#include <string>

namespace cali {

/// Nothing where it is not set. On Windows as the system has it: a host of another runtime sets it there, where this
/// one's getenv never sees it.
[[nodiscard]] std::optional<std::string> environment_variable(const char* name);

}  // namespace cali
