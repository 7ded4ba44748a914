/// Plain versions of the noise-profile calculations, each sample and each sum in its stated order. The library is held
/// against them bit for bit.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "reference/raw_stages.h"

namespace cali::reference {

/// Brightness levels, and in each the frames of one scene; every level has as many.
using Series = std::vector<std::vector<Samples>>;

/// By cell position (0 top left, 1 top right, 2 bottom left, 3 bottom right), then level.
struct Statistics {
    std::vector<std::vector<float>> mean, spread;
};

/// `nch` may be above 4, never below the number of cell positions that the frame has.
Statistics mean_and_deviation(const Series& series, uint32_t width, uint32_t height, int nch);
Statistics mean_and_variance(const Series& series, uint32_t width, uint32_t height, int nch);

struct Line {
    float slope = 0, intercept = 0;
};

Line fit_line(const std::vector<float>& x, const std::vector<float>& y);

/// Patterns 0 to 3.
void subtract_black(Series& series, uint32_t width, uint32_t height, int pattern, uint32_t black_bb, uint32_t black_gb,
                    uint32_t black_gr_rr);

/// In the order BB, GB, GR, RR, for patterns 0 to 3. The black levels stay subtracted from `series`.
std::array<Line, 4> noise_profile(Series& series, uint32_t width, uint32_t height, int pattern, uint32_t black_bb,
                                  uint32_t black_gb, uint32_t black_gr_rr, bool variance);

/// `level` is the line's value at a reference signal.
struct Registers {
    int32_t slope = 0, level = 0;
};

Registers to_registers(Line line, int32_t ref_level, uint32_t slope_int_bits, uint32_t slope_frac_bits,
                       uint32_t level_bits);

struct Format {
    uint32_t int_bits = 0, frac_bits = 0;
};

/// "U4.8": the first character is skipped whatever it is. The text has a ".".
Format read_format(const std::string& text);

Registers move_registers(Registers from, Format slope, Format level, Format new_slope, Format new_level);

/// Takes the lines in the order BB, GB, GR, RR.
Registers luma_registers(const std::array<Line, 4>& lines, int32_t ref_level, Format slope, Format level);

Samples difference_image(const Samples& a, const Samples& b);

/// Per photosite over at least two frames.
std::vector<float> deviation_image(const std::vector<Samples>& frames);

}  // namespace cali::reference
