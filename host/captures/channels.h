/// One value per Bayer channel, in the exports' order of channels.
#pragma once

#include <array>
#include <cstddef>

#include "core/channel.h"

namespace cali::host {

enum ChannelIndex : std::size_t { kRR, kGR, kGB, kBB };
inline constexpr std::array<const char*, 4> kChannelKeys = {"rr", "gr", "gb", "bb"};

/// Of the library's channel codes, which run blue first.
[[nodiscard]] constexpr std::size_t index_of(Channel channel) { return static_cast<std::size_t>(RR - channel); }

template <typename T>
using Channels = std::array<T, 4>;

}  // namespace cali::host
