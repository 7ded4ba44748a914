/// Headerless samples: 16-bit little-endian; with a depth of 8 bits also one byte each.
#pragma once

#include <filesystem>
#include <span>

#include "captures/frame.h"

namespace cali::host {

/// The geometry must tell size and depth. Throws InputError where a file of `bytes` bytes that begins with `head` does
/// not hold that many samples; a form that is known but not read is named.
void probe_raw(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry);
void read_raw(FileFrame& frame, std::span<const uint8_t> content, const Geometry& geometry);

/// 16-bit little-endian samples.
void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples);

}  // namespace cali::host
