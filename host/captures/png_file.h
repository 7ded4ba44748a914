/// PNG: grey, 8 or 16 bits.
#pragma once

#include <filesystem>
#include <span>

#include "captures/frame.h"

namespace cali::host {

/// By its first bytes or its name: one that is called .png and is none is named, not taken for raw samples.
[[nodiscard]] bool is_png(const std::filesystem::path& file, std::span<const uint8_t> content);

/// The depth is that of the significant bits that the file tells (sBIT), or else that of its samples. Samples that were
/// scaled up from fewer significant bits, as PNG has it, are scaled back; others are taken as they are. `content` is
/// the whole file. Throw InputError.
void probe_png(Capture& capture, std::span<const uint8_t> content, uint64_t bytes, const Geometry& geometry);
void read_png(FileFrame& frame, FileContent& content, const Geometry& geometry);

/// 16-bit samples, or 8-bit ones of that depth; depths between are scaled up and told.
void write_png(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples);

}  // namespace cali::host
