/// Pictures as PNG files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace cali::host {

/// Little: three times as fast, and a little larger.
enum class PngEffort { usual, little };

/// The bytes of a PNG; `pixels` are red, green, blue, row by row.
[[nodiscard]] std::string png_of(const std::vector<uint8_t>& pixels, std::size_t width, std::size_t height,
                                 PngEffort effort = PngEffort::usual);

}  // namespace cali::host
