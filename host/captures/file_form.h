/// What the readers of all forms share: how what a file tells meets what the user tells, and what bounds it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "captures/frame.h"

namespace cali::host {

/// ".dng" of "A.DNG".
[[nodiscard]] std::string lower_suffix(const std::filesystem::path& file);

/// The pattern that the user tells, or else the file's name. Throws InputError where neither does.
void set_told_pattern(Capture& capture, const Geometry& geometry);

/// The size of the file itself, which must be the user's where that is told. Throws InputError.
void set_own_size(Capture& capture, int width, int height, const Geometry& geometry);

/// The depth of the file itself, unless the user tells another.
void set_own_bits(Capture& capture, int bits, const Geometry& geometry);

/// Throws InputError where width or height is outside 1..65535, or a file of `bytes` bytes cannot hold or stand for so
/// many photosites of one or two bytes.
void require_plausible_size(const std::filesystem::path& file, uint64_t width, uint64_t height, uint64_t bytes,
                            uint64_t photosites_per_byte);

/// "truncated: 100 bytes of samples, expected 200 for 10 x 10".
[[nodiscard]] std::string truncated_text(uint64_t found, uint64_t expected, const SensorGeometry& sensor);

/// Size, pattern, depth and what the file tells, each with its source.
[[nodiscard]] std::vector<Setting> settings_of(const Capture& capture, const Geometry& geometry);

}  // namespace cali::host
