/// One value per Bayer channel, in the exports' order of channels.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "core/channel.h"

namespace cali::host {

enum ChannelIndex : std::size_t { kRR, kGR, kGB, kBB };
inline constexpr std::array<const char*, 4> kChannelKeys = {"rr", "gr", "gb", "bb"};
/// Of values per colour; both greens are one.
inline constexpr std::array<const char*, 4> kColourKeys = {"red", "green", "blue", "infrared"};

/// Of the library's channel codes, which run blue first.
[[nodiscard]] constexpr std::size_t index_of(Channel channel) { return static_cast<std::size_t>(RR - channel); }

[[nodiscard]] constexpr Channel channel_code(std::size_t index) { return static_cast<Channel>(RR - index); }

/// A channel as results name it.
struct ChannelLabel {
    std::size_t index;
    const char* key;
    const char* title;
};
inline constexpr std::array<ChannelLabel, 4> kColourLabels = {
    {{kRR, "rr", "RR"}, {kGR, "gr", "GR"}, {kGB, "gb", "GB"}, {kBB, "bb", "BB"}}};
inline constexpr std::array<ChannelLabel, 1> kMonoLabels = {{{kGR, "y", "Y"}}};

/// The channels there are; of a sensor without colours all four hold the same, and one stands for them.
[[nodiscard]] constexpr std::span<const ChannelLabel> channel_labels(bool mono) {
    return mono ? std::span<const ChannelLabel>(kMonoLabels) : std::span<const ChannelLabel>(kColourLabels);
}
[[nodiscard]] constexpr const char* channel_key(std::size_t channel, bool mono) {
    return mono ? kMonoLabels[0].key : kChannelKeys[channel];
}

template <typename T>
using Channels = std::array<T, 4>;

}  // namespace cali::host
