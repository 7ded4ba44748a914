/// Captures from files of any known form.
#pragma once

#include <filesystem>

#include "captures/frame.h"

namespace cali::host {

/// The form is told by the content: binary PGM, or else headerless samples. The geometry must tell what the file does
/// not; what both tell must agree. Throws InputError.
[[nodiscard]] FileFrame read_frame(const std::filesystem::path& file, const Geometry& geometry);
/// On the library's scale.
[[nodiscard]] Capture read_capture(const std::filesystem::path& file, const Geometry& geometry);

/// What can be told of a capture without reading its samples: that it is there, and large enough; it has then none.
/// Throws InputError.
Capture probe_capture(const std::filesystem::path& file, const Geometry& geometry);

}  // namespace cali::host
