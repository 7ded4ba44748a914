/// Lists of captures, as a session file has them.
#pragma once

#include <string>
#include <vector>

#include "base/conditions.h"

namespace cali::host {

/// As TOML's basic strings take it.
[[nodiscard]] std::string toml_string(const std::string& words);

/// A capture, a burst or a level: names beside the session file, and what the files do not tell.
struct ListedCapture {
    std::vector<std::string> files;
    Conditions taken;
};

/// `levels`: of a series, whose files are a list even where there is one.
[[nodiscard]] std::string toml_list(const std::vector<ListedCapture>& captures, bool levels = false);

}  // namespace cali::host
