/// What captures may take, whatever their headers say.
#pragma once

#include <cstdint>

namespace cali::host {

/// Of one file. It is read whole, and its digest is taken.
inline constexpr uint64_t kMostFileBytes = uint64_t{1} << 30U;

/// Of one frame. Its codes take two bytes each, and what its form decodes through at most as much again.
inline constexpr uint64_t kMostPhotosites = uint64_t{1} << 28U;

/// Bytes of samples that a byte of a file may stand for. Deflate, the tightest of common codecs, ends at 1032; a header
/// that promises more lies.
inline constexpr uint64_t kMostInflation = 2048;

/// Photosites that a byte of a camera's own raw file may stand for: its codecs spend a bit on each at least.
inline constexpr uint64_t kMostPhotositesPerByte = 8;

/// Of a file's header and from row to row.
inline constexpr int kMostLayoutBytes = 1 << 28;

}  // namespace cali::host
