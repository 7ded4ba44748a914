/// Binary PGM (Netpbm): grey, 8 or 16 bits, high byte first.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <span>

#include "captures/frame.h"

namespace cali::host {

/// Whether the content is taken for PGM.
[[nodiscard]] bool is_pgm(const std::filesystem::path& file, std::span<const uint8_t> content);

/// What the geometry tells must agree with the header, and a file of `bytes` bytes that begins with `head` must hold
/// the samples. Throw InputError.
void probe_pgm(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry);
void read_pgm(FileFrame& frame, std::span<const uint8_t> content, const Geometry& geometry);

/// Maximum value 2^bits - 1: 16-bit samples; one byte where the depth is 8.
void write_pgm(std::ostream& stream, int width, int height, int bits, std::span<const uint16_t> samples);
void write_pgm(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples);

}  // namespace cali::host
