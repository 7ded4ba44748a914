/// Plain versions of the raw pipeline stages: one sample at a time, whole intermediate frames, nothing shared with the
/// library. The library is held against them bit for bit.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/printf_format.h"

namespace cali::reference {

using Samples = std::vector<uint32_t>;

/// printf into a string.
[[gnu::format(CALI_PRINTF_FORMAT, 1, 2)]] std::string text(const char* format, ...);

/// Truncation toward zero as x86 converts: INT32_MIN for NaN and whatever no int32 holds.
int32_t x86_int32(double value);

/// Channel code of a photosite: 0 blue, 1 green on blue rows, 2 green on red rows, 3 red.
int colour_code(int pattern, uint32_t row, uint32_t column);

/// In the order RR, GR, GB, BB.
struct BlackLevelArguments {
    std::array<uint32_t, 4> offset;
    std::array<float, 4> gain;
};

Samples black_level(Samples frame, int width, int height, int pattern, const BlackLevelArguments& arguments);

Samples wb_gains(Samples frame, int width, int height, int pattern, uint32_t gain_r, uint32_t gain_b);

struct Grids {
    int cols = 0;
    int rows = 0;
    Samples red, green, blue;
};

/// `printed` receives the progress text.
Samples mesh_shading(const Samples& source, int width, int height, int pattern, const Grids& grids,
                     std::string& printed);

/// 99 register words: three of fields, then the red, green and blue tables.
std::vector<uint32_t> radial_registers(int width, int height, int pattern, int center_x, int center_y,
                                       const std::vector<int32_t>& tables);

Samples radial_block(const std::vector<uint32_t>& registers, const Samples& source);

}  // namespace cali::reference
