/// Bayer channel codes, the 2 x 2 layouts and the extended mosaic lookup.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace cali {

/// Channel codes run blue first; the exports' red-first argument order exists only at the boundary.
enum Channel : uint8_t {
    BB = 0,  ///< blue
    GB = 1,  ///< green on the blue rows
    GR = 2,  ///< green on the red rows
    RR = 3,  ///< red
};

inline constexpr int kChannels = 4;
inline constexpr int kBayerPatterns = 4;

/// Channel names in code order.
inline constexpr std::array<const char*, kChannels> kChannelNames = {"BB", "GB", "GR", "RR"};

/// One value per channel, indexed by channel code.
template <typename T>
struct PerChannel {
    std::array<T, kChannels> value{};

    constexpr T& operator[](std::size_t channel) { return value[channel]; }
    constexpr const T& operator[](std::size_t channel) const { return value[channel]; }

    /// From the red-first order of the exports.
    static constexpr PerChannel from_red_first(T rr, T gr, T gb, T bb) { return {{bb, gb, gr, rr}}; }
};

/// kBayerMap[pattern][row & 1][column & 1]; patterns 0 BGGR, 1 GBRG, 2 GRBG, 3 RGGB.
inline constexpr Channel kBayerMap[kBayerPatterns][2][2] = {
    {{BB, GB}, {GR, RR}},
    {{GB, BB}, {RR, GR}},
    {{GR, RR}, {BB, GB}},
    {{RR, GR}, {GB, BB}},
};

/// Channel of a photosite of a four-channel pattern.
[[nodiscard]] constexpr Channel bayer_channel(int32_t pattern, uint32_t row, uint32_t column) {
    return kBayerMap[pattern][row & 1U][column & 1U];
}

/// The colour of a channel: 0 red, 1 green, 2 blue.
[[nodiscard]] constexpr std::size_t colour_of(Channel channel) { return channel == RR ? 0 : channel == BB ? 2 : 1; }

/// Code of a photosite in any of the 20 mosaics: 2 x 2 below pattern 4, else 4 x 4. The 4 x 4 mosaics also carry the
/// codes 7 and 16 to 19, which are no channels of the four-channel stages. `pattern` must be 0 to 19.
[[nodiscard]] uint32_t channel_of(uint32_t row, uint32_t column, int32_t pattern);

}  // namespace cali
