#include "reference/noise.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace cali::reference {
namespace {

/// Calls visit(sample, row, column) for every sample of a level: frame by frame, each row by row.
template <typename Frames, typename Visit>
void for_each_sample(Frames& frames, uint32_t width, uint32_t height, Visit visit) {
    for (auto& frame : frames) {
        for (uint32_t row = 0; row < height; ++row) {
            for (uint32_t column = 0; column < width; ++column) {
                visit(frame[static_cast<std::size_t>(row) * width + column], row, column);
            }
        }
    }
}

std::size_t cell_position(uint32_t row, uint32_t column) { return (column & 1U) + (row & 1U) * 2U; }

Statistics statistics(const Series& series, uint32_t width, uint32_t height, int nch, bool root) {
    const auto positions = static_cast<std::size_t>(nch);
    Statistics result;
    result.mean.assign(positions, std::vector<float>(series.size(), 0.0F));
    result.spread.assign(positions, std::vector<float>(series.size(), 0.0F));
    if (nch == 0) {
        return result;
    }
    for (std::size_t k = 0; k < series.size(); ++k) {
        // The product wraps.
        const auto nframes = static_cast<uint32_t>(series[k].size());
        const int32_t n = static_cast<int32_t>(width * height * nframes) / nch;
        const auto n_less_1 = static_cast<int32_t>(static_cast<uint32_t>(n) - 1U);

        for_each_sample(series[k], width, height, [&](uint32_t sample, uint32_t row, uint32_t column) {
            result.mean[cell_position(row, column)][k] += static_cast<float>(sample);
        });
        for (std::size_t c = 0; c < positions; ++c) {
            result.mean[c][k] /= static_cast<float>(n);
        }
        for_each_sample(series[k], width, height, [&](uint32_t sample, uint32_t row, uint32_t column) {
            const std::size_t p = cell_position(row, column);
            const float d = static_cast<float>(sample) - result.mean[p][k];
            const float square = d * d;
            result.spread[p][k] += square;
        });
        for (std::size_t c = 0; c < positions; ++c) {
            result.spread[c][k] /= static_cast<float>(n_less_1);
            if (root) {
                result.spread[c][k] = std::sqrt(result.spread[c][k]);
            }
        }
    }
    return result;
}

/// Largest value of a register: 31 bits at most, and 32 bits count as none.
int32_t largest(uint32_t bits) { return static_cast<int32_t>((1U << (bits & 31U)) - 1U); }

/// Upper limit first.
int32_t limited(int64_t value, uint32_t bits) {
    const int64_t below = std::min(value, static_cast<int64_t>(largest(bits)));
    return static_cast<int32_t>(std::max(below, int64_t{0}));
}

/// Value of the leading decimal number, modulo 2^32.
uint32_t decimal(const std::string& digits) {
    return static_cast<uint32_t>(static_cast<unsigned long long>(std::strtoll(digits.c_str(), nullptr, 10)));
}

}  // namespace

Statistics mean_and_deviation(const Series& series, uint32_t width, uint32_t height, int nch) {
    return statistics(series, width, height, nch, true);
}

Statistics mean_and_variance(const Series& series, uint32_t width, uint32_t height, int nch) {
    return statistics(series, width, height, nch, false);
}

Line fit_line(const std::vector<float>& x, const std::vector<float>& y) {
    float sx = 0.0F;
    float sxx = 0.0F;
    float sy = 0.0F;
    float sxy = 0.0F;
    for (std::size_t i = 0; i < x.size(); ++i) {
        sx += x[i];
        sxx += x[i] * x[i];
        sy += y[i];
        sxy += x[i] * y[i];
    }
    const auto n = static_cast<float>(static_cast<int32_t>(x.size()));
    const float d = n * sxx - sx * sx;
    Line line;
    line.intercept = (sy * sxx - sxy * sx) / d;
    line.slope = (n * sxy - sy * sx) / d;
    return line;
}

void subtract_black(Series& series, uint32_t width, uint32_t height, int pattern, uint32_t black_bb, uint32_t black_gb,
                    uint32_t black_gr_rr) {
    for (std::vector<Samples>& frames : series) {
        for_each_sample(frames, width, height, [&](uint32_t& sample, uint32_t row, uint32_t column) {
            const int code = colour_code(pattern, row, column);
            const uint32_t black = code == 0 ? black_bb : code == 1 ? black_gb : black_gr_rr;
            const auto d = static_cast<int32_t>(sample - black);
            sample = static_cast<uint32_t>(std::min(std::max(d, 0), 4095));
        });
    }
}

std::array<Line, 4> noise_profile(Series& series, uint32_t width, uint32_t height, int pattern, uint32_t black_bb,
                                  uint32_t black_gb, uint32_t black_gr_rr, bool variance) {
    subtract_black(series, width, height, pattern, black_bb, black_gb, black_gr_rr);
    const Statistics found =
        variance ? mean_and_variance(series, width, height, 4) : mean_and_deviation(series, width, height, 4);
    std::array<Line, 4> lines;
    for (uint32_t row = 0; row < 2; ++row) {
        for (uint32_t column = 0; column < 2; ++column) {
            const std::size_t p = cell_position(row, column);
            lines[static_cast<std::size_t>(colour_code(pattern, row, column))] =
                fit_line(found.mean[p], found.spread[p]);
        }
    }
    return lines;
}

Registers to_registers(Line line, int32_t ref_level, uint32_t slope_int_bits, uint32_t slope_frac_bits,
                       uint32_t level_bits) {
    // 31 fraction bits make the scale negative.
    const auto scale = static_cast<float>(static_cast<int32_t>(1U << (slope_frac_bits & 31U)));
    const float slope = scale * line.slope;
    const float level = static_cast<float>(ref_level) * line.slope + line.intercept;
    Registers registers;
    registers.slope = limited(x86_int32(static_cast<double>(slope)), slope_int_bits + slope_frac_bits);
    registers.level = limited(x86_int32(static_cast<double>(level)), level_bits);
    return registers;
}

Format read_format(const std::string& text) {
    const std::size_t dot = text.find('.');
    Format format;
    if (dot > 0) {
        format.int_bits = decimal(text.substr(1, dot - 1));
    }
    format.frac_bits = decimal(text.substr(dot + 1));
    return format;
}

Registers move_registers(Registers from, Format slope, Format /*level*/, Format new_slope, Format new_level) {
    const int change = static_cast<int>(new_slope.frac_bits & 31U) - static_cast<int>(slope.frac_bits & 31U);
    int64_t moved = from.slope;
    if (change > 0) {
        moved = moved * (int64_t{1} << change);
    } else if (change < 0) {
        const int64_t half = int64_t{1} << (-change - 1);
        moved = (moved + half) >> -change;
    }
    Registers registers;
    registers.slope = limited(moved, new_slope.int_bits + new_slope.frac_bits);
    registers.level = limited(from.level, new_level.int_bits + new_level.frac_bits);
    return registers;
}

Registers luma_registers(const std::array<Line, 4>& lines, int32_t ref_level, Format slope, Format level) {
    std::vector<float> x;
    std::vector<float> y;
    for (int i = 0; i <= 16; ++i) {
        const double s = 4095.0 * i / 16;
        std::array<double, 4> sigma{};
        for (std::size_t c = 0; c < 4; ++c) {
            sigma[c] = static_cast<double>(lines[c].slope) * s + static_cast<double>(lines[c].intercept);
            sigma[c] = sigma[c] < 0 ? 0 : sigma[c];
        }
        const double red = 0.299 * sigma[3];
        const double green = 0.587 * ((sigma[1] + sigma[2]) / 2);
        const double blue = 0.114 * sigma[0];
        x.push_back(static_cast<float>(s));
        y.push_back(static_cast<float>(std::sqrt(red * red + green * green + blue * blue)));
    }
    return to_registers(fit_line(x, y), ref_level, slope.int_bits, slope.frac_bits, level.int_bits + level.frac_bits);
}

Samples difference_image(const Samples& a, const Samples& b) {
    Samples result;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const int64_t difference = static_cast<int64_t>(a[i]) - static_cast<int64_t>(b[i]) + 2048;
        result.push_back(static_cast<uint32_t>(std::clamp(difference, int64_t{0}, int64_t{4095})));
    }
    return result;
}

std::vector<float> deviation_image(const std::vector<Samples>& frames) {
    const auto n = static_cast<double>(frames.size());
    std::vector<float> result;
    for (std::size_t i = 0; i < frames.front().size(); ++i) {
        double sum = 0.0;
        for (const Samples& frame : frames) {
            sum += static_cast<double>(frame[i]);
        }
        const double mean = sum / n;
        double squares = 0.0;
        for (const Samples& frame : frames) {
            const double d = static_cast<double>(frame[i]) - mean;
            squares += d * d;
        }
        result.push_back(static_cast<float>(std::sqrt(squares / (n - 1.0))));
    }
    return result;
}

}  // namespace cali::reference
