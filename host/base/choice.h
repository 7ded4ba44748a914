/// Choices as options, session files and results name them.
#pragma once

#include <algorithm>
#include <array>
#include <string>

#include "base/error.h"

namespace cali::host {

/// The choice of that name, in the order of `names`. Throws InputError, which lists them.
template <typename Choice, std::size_t size>
[[nodiscard]] Choice parse_choice(const std::array<const char*, size>& names, const std::string& text,
                                  const std::string& where) {
    const auto at = std::ranges::find(names, text);
    if (at != names.end()) {
        return static_cast<Choice>(at - names.begin());
    }
    std::string known;
    for (std::size_t i = 0; i < size; ++i) {
        known += (i == 0 ? "" : i + 1 == size ? " or " : ", ") + std::string(names[i]);
    }
    throw InputError(where + " is '" + text + "', expected " + known);
}

}  // namespace cali::host
