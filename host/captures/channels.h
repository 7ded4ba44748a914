/// One value per Bayer channel, in the exports' order of channels.
#pragma once

#include <array>
#include <cstddef>

namespace cali::host {

enum ChannelIndex : std::size_t { kRR, kGR, kGB, kBB };
inline constexpr std::array<const char*, 4> kChannelKeys = {"rr", "gr", "gb", "bb"};

template <typename T>
using Channels = std::array<T, 4>;

}  // namespace cali::host
