/// Headerless samples: bytes, 16-bit words, or packed.
#pragma once

#include <filesystem>
#include <span>

#include "captures/frame.h"

namespace cali::host {

/// Size and depth are told by the geometry, or else by the file's name. Throws InputError where a file of `bytes` bytes
/// that begins with `head` does not hold that many samples in any layout that the geometry leaves open; a form that is
/// known but not read is named. Reading also throws where the bytes of words are swapped.
void probe_raw(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry);
/// Whether the file's words are its codes, one after the other from its start, as this machine has them, and their bits
/// can tell that they are. Sets the geometry; throws InputError, as reading does.
[[nodiscard]] bool is_plain_raw(Capture& capture, std::span<const uint8_t> head, uint64_t bytes,
                                const Geometry& geometry);
/// Whether words of which these bits are set are surely codes of that depth, in the right byte order.
[[nodiscard]] bool surely_codes(uint16_t word_bits, int bits);
void read_raw(FileFrame& frame, FileContent& content, const Geometry& geometry);

/// 16-bit little-endian samples.
void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples);

/// Rows of `width` samples, packed.
void write_packed(const std::filesystem::path& file, int width, Packing packing, std::span<const uint16_t> samples);

}  // namespace cali::host
