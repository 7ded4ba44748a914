/// TIFF: one channel of 8 to 16 bits, in strips or tiles.
#pragma once

#include <filesystem>
#include <span>

#include "captures/frame.h"

namespace cali::host {

/// By its first bytes, or by its name: one that is called .tif, .tiff or .dng and is none is named, not taken for raw
/// samples.
[[nodiscard]] bool is_tiff(const std::filesystem::path& file, std::span<const uint8_t> content);

/// Of one channel, and not a mosaic that says so; `content` is the whole file.
[[nodiscard]] bool is_grey_tiff(const std::filesystem::path& file, std::span<const uint8_t> content);

/// The depth is that of the largest value the file states, where that is 2^n - 1, or else that of its samples.
/// `content` is the whole file. Throw InputError.
void probe_tiff(Capture& capture, std::span<const uint8_t> content, uint64_t bytes, const Geometry& geometry);
void read_tiff(FileFrame& frame, FileContent& content, const Geometry& geometry);

/// 16-bit samples, or 8-bit ones of that depth, deflated, with the depth's largest value. The directory comes last.
void write_tiff(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples);

}  // namespace cali::host
