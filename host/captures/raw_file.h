/// Headerless samples: 16-bit little-endian; with a depth of 8 bits also one byte each.
#pragma once

#include <filesystem>
#include <span>

#include "captures/frame.h"

namespace cali::host {

/// The geometry must tell size and depth. Throws InputError.
void read_raw(Capture& capture, std::span<const uint8_t> content, const Geometry& geometry);

/// 16-bit little-endian samples.
void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples);

}  // namespace cali::host
