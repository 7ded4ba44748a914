/// Captures: raw Bayer frames in files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <vector>

#include "captures/geometry.h"

namespace cali::host {

inline constexpr int kLibraryBits = 12;
inline constexpr uint32_t kLibraryFullScale = 4095;

/// A frame on the library's 12-bit scale.
struct Capture {
    std::filesystem::path file;
    int width = 0;
    int height = 0;
    int pattern = 0;
    int bits = kLibraryBits;        ///< of the file
    std::vector<uint32_t> samples;  ///< row-major
};

/// The 12-bit code of a sample of `bits` bits: fewer are shifted up, more are rounded to nearest and end at 4095.
[[nodiscard]] uint32_t to_library_scale(uint32_t sample, int bits);

/// Library samples as a file of 12 bits takes them: what exceeds 4095 becomes 4095.
[[nodiscard]] std::vector<uint16_t> to_file_codes(std::span<const uint32_t> samples);

/// What a saturated sample of the capture is on the library's scale.
[[nodiscard]] uint32_t full_scale_code(const Capture& capture);

/// Reads a .pgm (binary, 8 or 16 bits) or else a headerless .raw (16-bit little-endian; with a depth of 8 bits also one
/// byte per sample). The geometry must tell what the file does not; what both tell must agree. Throws InputError.
[[nodiscard]] Capture read_capture(const std::filesystem::path& file, const Geometry& geometry);

/// 16-bit little-endian samples.
void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples);

/// Binary PGM with maximum value 2^bits - 1: 16-bit samples, high byte first; one byte where the depth is 8.
void write_pgm(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples);

}  // namespace cali::host
