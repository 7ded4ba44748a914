#include "noise/registers.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdlib>

#include "core/arithmetic.h"

namespace cali::noise {
namespace {

int32_t power_of_two(uint32_t bits) { return static_cast<int32_t>(1U << (bits & 31U)); }

int32_t largest(uint32_t bits) { return wrap_sub(power_of_two(bits), 1); }

int32_t limit(int64_t value, uint32_t bits) {
    return static_cast<int32_t>(std::max<int64_t>(std::min<int64_t>(value, largest(bits)), 0));
}

uint32_t width_of(const Format& format) { return format.int_bits + format.frac_bits; }

uint32_t decimal(const std::string& text) { return static_cast<uint32_t>(std::strtoll(text.c_str(), nullptr, 10)); }

}  // namespace

std::optional<Format> read_format(const std::string& text) {
    const std::size_t point = text.find('.');
    if (point == std::string::npos) {
        return std::nullopt;
    }
    // With the point in front there is nothing before it.
    return Format{point == 0 ? 0 : decimal(text.substr(1, point - 1)), decimal(text.substr(point + 1))};
}

std::optional<Format> read_strict_format(const std::string& text) {
    constexpr uint32_t kMostBits = 31;
    std::array<uint32_t, 2> bits{};
    std::size_t side = 0;
    // With the point in front there is no letter either.
    const bool letter = !text.empty() && std::isalpha(static_cast<unsigned char>(text.front())) != 0;
    for (const char c : text.substr(letter ? 1 : 0)) {
        if (c == '.' && side == 0) {
            side = 1;
        } else if (c >= '0' && c <= '9' && bits[side] <= kMostBits) {
            bits[side] = bits[side] * 10 + static_cast<uint32_t>(c - '0');
        } else {
            return std::nullopt;
        }
    }
    if (side == 0 || (!letter && text.front() != '.') || std::max(bits[0], bits[1]) > kMostBits) {
        return std::nullopt;
    }
    return Format{bits[0], bits[1]};
}

LineRegisters to_registers(const Line& line, int32_t ref_level, const LineFormats& formats) {
    const float slope = static_cast<float>(power_of_two(formats.slope.frac_bits)) * line.slope;
    const float level = static_cast<float>(ref_level) * line.slope + line.intercept;
    return {limit(to_int32(static_cast<double>(slope)), width_of(formats.slope)),
            limit(to_int32(static_cast<double>(level)), width_of(formats.level))};
}

LineRegisters move_registers(const LineRegisters& registers, const LineFormats& from, const LineFormats& to) {
    const auto more = static_cast<int32_t>(to.slope.frac_bits & 31U) - static_cast<int32_t>(from.slope.frac_bits & 31U);
    int64_t slope = registers.slope;
    if (more >= 0) {
        slope *= int64_t{1} << more;
    } else {
        slope = (slope + (int64_t{1} << (-more - 1))) >> -more;
    }
    return {limit(slope, width_of(to.slope)), limit(registers.level, width_of(to.level))};
}

Line luma_line(const PerChannel<Line>& lines) {
    constexpr std::size_t kLevels = 17;
    std::array<float, kLevels> x{};
    std::array<float, kLevels> y{};
    for (std::size_t i = 0; i < kLevels; ++i) {
        const double s = 4095.0 * static_cast<double>(i) / 16.0;
        const auto sigma = [&](Channel channel) {
            const double line =
                static_cast<double>(lines[channel].slope) * s + static_cast<double>(lines[channel].intercept);
            return std::max(line, 0.0);
        };
        const double red = 0.299 * sigma(RR);
        const double green = 0.587 * ((sigma(GB) + sigma(GR)) / 2.0);
        const double blue = 0.114 * sigma(BB);
        x[i] = static_cast<float>(s);
        y[i] = static_cast<float>(std::sqrt(red * red + green * green + blue * blue));
    }
    return fit_line(x, y);
}

}  // namespace cali::noise
