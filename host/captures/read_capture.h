/// Captures from files of any known form.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "captures/frame.h"

namespace cali::host {

/// The form is told by the content: PGM, PNG, TIFF, DNG and other raw files of cameras, or else headerless samples. The
/// geometry must tell what the file does not; a size that both tell must agree, of pattern and depth the geometry's
/// counts. docs/captures.md says what is taken from where. Throws InputError.
[[nodiscard]] FileFrame read_frame(const std::filesystem::path& file, const Geometry& geometry);
/// On the library's scale.
[[nodiscard]] Capture read_capture(const std::filesystem::path& file, const Geometry& geometry);

/// What can be told of a capture without decoding its samples: that it is there, and large enough; it has then none.
/// Throws InputError.
Capture probe_capture(const std::filesystem::path& file, const Geometry& geometry);

/// Called by main before all else: the exit status where this process is a decoder of another run of the program.
[[nodiscard]] std::optional<int> serve_as_decoder(const std::vector<std::string>& arguments);

}  // namespace cali::host
