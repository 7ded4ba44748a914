/// DNG: what its own tags say of the mosaic, with fractions, and writing.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace cali::host {

/// Of the directory that holds the mosaic. Positions of 2 x 2: first row left, right, second row left, right.
struct DngMosaic {
    int compression = 0;
    bool floating = false;
    std::array<uint32_t, 4> active = {};  ///< first row and column, and those behind the last
    std::array<double, 4> black = {};     ///< by position from the active area's corner
    std::optional<int> white;             ///< where it is told, or follows from the depth of plain samples
};

/// Of the directory of `width` x `height` samples, a mosaic or one channel; nothing where the content is no DNG.
/// Throws InputError where there is no such directory, or its samples end outside the file.
[[nodiscard]] std::optional<DngMosaic> read_dng_mosaic(const std::filesystem::path& file,
                                                       std::span<const uint8_t> content, uint32_t width,
                                                       uint32_t height);

/// What a DNG is written with.
struct DngContent {
    int width = 0;  ///< of all samples
    int height = 0;
    int bits = 0;
    int pattern = 0;                      ///< at the active area's corner
    bool mono = false;                    ///< one channel in place of the pattern, and no neutral
    std::array<uint32_t, 4> active = {};  ///< as in DngMosaic
    std::array<double, 4> black = {};     ///< by position
    std::optional<std::array<double, 3>> neutral;
    double gain = 1;  ///< 1 = ISO 100
    double exposure_ms = 10;
};

/// Uncompressed, 16-bit words, the directory first.
[[nodiscard]] std::string dng_of(const DngContent& content, std::span<const uint16_t> samples);
void write_dng(const std::filesystem::path& file, const DngContent& content, std::span<const uint16_t> samples);

}  // namespace cali::host
