/// The 24-patch chart: its layout and its reference colours.
#pragma once

#include <array>
#include <cstddef>

namespace cali {

inline constexpr std::size_t kChartPatches = 24;
inline constexpr std::size_t kChartColumns = 6;
inline constexpr std::size_t kChartRows = 4;

/// In chart order the colours come first, then the greys from white to black.
inline constexpr std::size_t kColourPatches = 18;
inline constexpr std::size_t kFirstGrey = 18;
inline constexpr std::size_t kGreyPatches = 6;
static_assert(kColourPatches == kFirstGrey && kFirstGrey + kGreyPatches == kChartPatches);

/// The greys between white and black, from which white-balance gains are taken: neither near the limits of the codes.
inline constexpr std::size_t kFirstBalanceGrey = 19;
inline constexpr std::size_t kLastBalanceGrey = 22;

/// Encoded sRGB, 0..1, in chart order: row by row, dark skin first, the six greys last. 8-bit values over 255, rounded
/// to six digits; the rounded values are the ones in use.
inline constexpr std::array<std::array<double, 3>, kChartPatches> kChartSrgb24 = {{
    {0.45098, 0.321569, 0.266667},  {0.760784, 0.588235, 0.509804}, {0.384314, 0.478431, 0.615686},
    {0.341176, 0.423529, 0.262745}, {0.521569, 0.501961, 0.694118}, {0.403922, 0.741176, 0.666667},
    {0.839216, 0.494118, 0.172549}, {0.313725, 0.356863, 0.65098},  {0.756863, 0.352941, 0.388235},
    {0.368627, 0.235294, 0.423529}, {0.615686, 0.737255, 0.25098},  {0.878431, 0.639216, 0.180392},
    {0.219608, 0.239216, 0.588235}, {0.27451, 0.580392, 0.286275},  {0.686275, 0.211765, 0.235294},
    {0.905882, 0.780392, 0.121569}, {0.733333, 0.337255, 0.584314}, {0.031373, 0.521569, 0.631373},
    {0.952941, 0.952941, 0.94902},  {0.784314, 0.784314, 0.784314}, {0.627451, 0.627451, 0.627451},
    {0.478431, 0.478431, 0.47451},  {0.333333, 0.333333, 0.333333}, {0.203922, 0.203922, 0.203922},
}};

}  // namespace cali
