/// A session file for captures that were sorted.
#pragma once

#include <filesystem>
#include <string>

#include "session/placement.h"

namespace cali::host {

/// TOML with comments that tell how to go on. File names are relative to `folder`, where the session lies. `told`: what
/// the files do not tell themselves.
[[nodiscard]] std::string session_file_text(const Placement& placement, const Geometry& told,
                                            const std::filesystem::path& folder);

}  // namespace cali::host
