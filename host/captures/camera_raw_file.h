/// DNG and raw files of cameras.
#pragma once

#include <filesystem>
#include <span>
#include <string>

#include "captures/frame.h"

namespace cali::host {

/// By its first bytes, whatever a build reads.
[[nodiscard]] bool is_camera_raw(const std::filesystem::path& file, std::span<const uint8_t> content);

/// Version of the LibRaw that the program was built with; empty without one.
[[nodiscard]] std::string camera_raw_library();

/// The mosaic of the active area as it was stored, linearised where the file has a table for that; neither developed
/// nor turned. An active area that starts at an odd row or column may lose it. The depth is that of the white level;
/// what exceeds it is full scale. `content` is the whole file. Throw InputError, also for other mosaics than 2 x 2 of
/// red, green and blue, for several channels and lossy compression, and in a build without LibRaw.
void probe_camera_raw(Capture& capture, std::span<const uint8_t> content, uint64_t bytes, const Geometry& geometry);
void read_camera_raw(FileFrame& frame, FileContent& content, const Geometry& geometry);

}  // namespace cali::host
