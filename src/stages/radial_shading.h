/// Radial lens shading: a bit-exact model of the block that reads gains from a curve over the radius.
#pragma once

#include <array>
#include <cstdint>

#include "core/scratch.h"

namespace cali {

inline constexpr std::size_t kRadialEntries = 32;
inline constexpr std::size_t kRadialTableSize = 128;  ///< red, green, blue, infrared

/// Gains over the radius, 512 = 1.0: entry k at k/31 of the distance from the centre to the farthest corner. Owns
/// nothing.
struct RadialTables {
    int32_t center_x = 0;  ///< photosites
    int32_t center_y = 0;
    const int32_t* gains = nullptr;  ///< kRadialTableSize entries; the infrared ones are not read
};

/// The block's register words.
struct RadialRegisters {
    std::array<uint32_t, 3 + 3 * kRadialEntries> word{};

    [[nodiscard]] int32_t pattern() const { return static_cast<int32_t>((word[0] >> 1) & 3U); }
    [[nodiscard]] int32_t width() const { return static_cast<int32_t>((word[0] >> 3) & 8191U) + 1; }
    [[nodiscard]] int32_t height() const { return static_cast<int32_t>((word[0] >> 16) & 8191U) + 1; }
    [[nodiscard]] int32_t center_x() const { return static_cast<int32_t>(word[1] & 8191U); }
    [[nodiscard]] int32_t center_y() const { return static_cast<int32_t>((word[1] >> 13) & 8191U); }
    [[nodiscard]] uint32_t norm() const { return word[2] & 32767U; }
    [[nodiscard]] int32_t strength() const { return static_cast<int32_t>((word[2] >> 15) & 4095U); }
    /// Table 0 red, 1 green, 2 blue.
    [[nodiscard]] int32_t gain(std::size_t table, std::size_t entry) const {
        return static_cast<int32_t>(word[3 + table * kRadialEntries + entry]);
    }
};

/// Squared distance from the centre to the farthest corner, in photosites.
[[nodiscard]] float farthest_corner_squared(int32_t width, int32_t height, int32_t center_x, int32_t center_y);

/// 31 over the distance from the centre to the farthest corner, in 1/2048, truncated; before the register's mask.
[[nodiscard]] int32_t radial_norm(int32_t width, int32_t height, int32_t center_x, int32_t center_y);

/// Values wrap as the fields' widths dictate.
[[nodiscard]] RadialRegisters pack_radial_registers(int32_t width, int32_t height, int32_t pattern,
                                                    const RadialTables& tables);

/// The stage for one register block, row by row; source and destination may be the same row. Throws std::bad_alloc.
class RadialShading {
public:
    explicit RadialShading(const RadialRegisters& registers);

    /// Frame row `y`, `count` samples from column `first_column`.
    void row(uint32_t y, uint32_t first_column, const uint32_t* source, uint32_t* destination, std::size_t count) const;

private:
    RadialRegisters registers_;
    Scratch<int32_t> gains_;  ///< by colour, then radius
    bool gains_fit_16_bits_ = true;
};

}  // namespace cali
