#include "stages/radial_shading.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "core/arithmetic.h"
#include "core/channel.h"
#include "kernels/row_kernels.h"
#include "kernels/sample_math.h"

namespace cali {
namespace {

constexpr uint32_t kFullStrength = 4095;
constexpr int32_t kStrengthRounding = 512 * 4096 + 1536;  // the block's own
constexpr std::size_t kTables = 3;

int32_t gain_at_radius(const RadialRegisters& registers, std::size_t table, uint32_t radius) {
    const auto fraction = static_cast<int32_t>(radius & 63U);
    const std::size_t i = std::min<std::size_t>(radius >> 6U, kRadialEntries - 1);
    const std::size_t j = std::min<std::size_t>(i + 1, kRadialEntries - 1);
    const int32_t sum =
        wrap_add(wrap_mul(64 - fraction, registers.gain(table, i)), wrap_mul(fraction, registers.gain(table, j)));
    const int32_t t = wrap_add(sum, 32) >> 6;
    return wrap_add(wrap_mul(wrap_sub(t, 512), registers.strength()), kStrengthRounding) >> 12;
}

}  // namespace

float farthest_corner_squared(int32_t width, int32_t height, int32_t center_x, int32_t center_y) {
    const auto squared = [](double dx, double dy) { return static_cast<float>(dx * dx + dy * dy); };
    const double left = center_x;
    const double top = center_y;
    const double right = static_cast<double>(width) - left;
    const double bottom = static_cast<double>(height) - top;
    return std::max({squared(left, top), squared(right, top), squared(left, bottom), squared(right, bottom)});
}

int32_t radial_norm(int32_t width, int32_t height, int32_t center_x, int32_t center_y) {
    const float farthest = std::sqrt(farthest_corner_squared(width, height, center_x, center_y));
    const auto units = static_cast<float>(31.0 / static_cast<double>(farthest));
    return to_int32(static_cast<double>(units * 64.0F * 32.0F));
}

RadialRegisters pack_radial_registers(int32_t width, int32_t height, int32_t pattern, const RadialTables& tables) {
    const auto field = [](int32_t value, uint32_t mask, uint32_t shift) {
        return (static_cast<uint32_t>(value) & mask) << shift;
    };
    RadialRegisters registers;
    registers.word[0] = 1U | field(pattern, 3U, 1) | field(width - 1, 8191U, 3) | field(height - 1, 8191U, 16);
    registers.word[1] = field(tables.center_x, 8191U, 0) | field(tables.center_y, 8191U, 13);
    registers.word[2] =
        field(radial_norm(width, height, tables.center_x, tables.center_y), 32767U, 0) | (kFullStrength << 15U);
    std::transform(tables.gains, tables.gains + kTables * kRadialEntries, registers.word.begin() + 3,
                   [](int32_t gain) { return static_cast<uint32_t>(gain); });
    return registers;
}

RadialShading::RadialShading(const RadialRegisters& registers) : registers_(registers), gains_(kTables * kRadialGains) {
    for (std::size_t table = 0; table < kTables; ++table) {
        for (uint32_t radius = 0; radius <= sample::kMaxRadius; ++radius) {
            const int32_t gain = gain_at_radius(registers, table, radius);
            gains_[table * kRadialGains + radius] = gain;
            gains_fit_16_bits_ = gains_fit_16_bits_ && gain >= 0 && gain <= 0xFFFF;
        }
    }
}

void RadialShading::row(uint32_t y, uint32_t first_column, const uint32_t* source, uint32_t* destination,
                        std::size_t count) const {
    const auto first = [&](uint32_t x) {
        return static_cast<int32_t>(colour_of(bayer_channel(registers_.pattern(), y, first_column + x)) * kRadialGains);
    };
    const RadialGainRow row{gains_.data(),
                            {first(0), first(1)},
                            gains_fit_16_bits_,
                            static_cast<int32_t>(first_column) - registers_.center_x(),
                            std::abs(static_cast<int32_t>(y) - registers_.center_y()),
                            registers_.norm()};
    row_kernels().radial_gain(source, destination, count, row);
}

}  // namespace cali
