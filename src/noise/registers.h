/// Noise lines as the ISP's registers hold them.
#pragma once

#include <optional>
#include <string>

#include "core/channel.h"
#include "noise/profile.h"

namespace cali::noise {

/// Bits of an unsigned fixed-point register.
struct Format {
    uint32_t int_bits = 0;
    uint32_t frac_bits = 0;
};

/// "U4.8": a character that is passed over, integer bits, ".", fraction bits. Nothing without a ".".
[[nodiscard]] std::optional<Format> read_format(const std::string& text);

/// The same where nothing else may stand: a letter, digits, ".", digits, 0 to 31 bits on either side. No digits stand
/// for 0.
[[nodiscard]] std::optional<Format> read_strict_format(const std::string& text);

struct LineFormats {
    Format slope;
    Format level;  ///< only the sum of its bits matters
};

/// The slope in fixed point, and the line's value at a reference level as a whole number.
struct LineRegisters {
    int32_t slope = 0;
    int32_t level = 0;
};

/// Truncated, then limited to the registers' ranges. Shifts count modulo 32.
[[nodiscard]] LineRegisters to_registers(const Line& line, int32_t ref_level, const LineFormats& formats);

/// The same line in other formats: the slope is rounded where bits are dropped; both are limited.
[[nodiscard]] LineRegisters move_registers(const LineRegisters& registers, const LineFormats& from,
                                           const LineFormats& to);

/// Line through the noise of luma (0.299 R + 0.587 G + 0.114 B, independent channels) at 17 levels; a channel whose
/// line is negative at a level has none there.
[[nodiscard]] Line luma_line(const PerChannel<Line>& lines);

}  // namespace cali::noise
