#include "captures/packed_samples.h"

#include <algorithm>
#include <array>

namespace cali::host {
namespace {

/// Samples of a group share its bytes: first a byte each, their high bits, then the low bits, those of the first sample
/// lowest.
struct Group {
    int bits;
    std::size_t samples;
    std::size_t bytes;
};
constexpr std::array<Group, 4> kGroups = {{{16, 1, 2}, {10, 4, 5}, {12, 2, 3}, {14, 4, 7}}};

const Group& group_of(Packing packing) { return kGroups[static_cast<std::size_t>(packing)]; }

}  // namespace

int bits_of(Packing packing) { return group_of(packing).bits; }

Packing packing_of(int bits) {
    const auto* const group =
        std::find_if(kGroups.begin() + 1, kGroups.end(), [bits](const Group& each) { return each.bits == bits; });
    return group == kGroups.end() ? Packing::none : static_cast<Packing>(group - kGroups.begin());
}

std::size_t packed_row_bytes(Packing packing, int width) {
    const Group& group = group_of(packing);
    return (static_cast<std::size_t>(width) + group.samples - 1) / group.samples * group.bytes;
}

void unpack_row(Packing packing, std::span<const uint8_t> bytes, std::span<uint16_t> codes) {
    const Group& group = group_of(packing);
    const auto low_bits = static_cast<unsigned>(group.bits - 8);
    const uint32_t low_mask = (1U << low_bits) - 1U;
    for (std::size_t first = 0; first < codes.size(); first += group.samples, bytes = bytes.subspan(group.bytes)) {
        uint32_t low = 0;
        for (std::size_t i = group.samples; i < group.bytes; ++i) {
            low |= static_cast<uint32_t>(bytes[i]) << (8 * (i - group.samples));
        }
        for (std::size_t i = 0; i < std::min(group.samples, codes.size() - first); ++i, low >>= low_bits) {
            codes[first + i] = static_cast<uint16_t>(static_cast<uint32_t>(bytes[i]) << low_bits | (low & low_mask));
        }
    }
}

std::vector<uint8_t> pack_row(Packing packing, std::span<const uint16_t> codes) {
    const Group& group = group_of(packing);
    const auto low_bits = static_cast<unsigned>(group.bits - 8);
    std::vector<uint8_t> bytes;
    bytes.reserve(packed_row_bytes(packing, static_cast<int>(codes.size())));
    for (std::size_t first = 0; first < codes.size(); first += group.samples) {
        uint32_t low = 0;
        for (std::size_t i = 0; i < group.samples; ++i) {
            const uint32_t code = first + i < codes.size() ? codes[first + i] : 0U;
            bytes.push_back(static_cast<uint8_t>(code >> low_bits));
            low |= (code & ((1U << low_bits) - 1U)) << (low_bits * i);
        }
        for (std::size_t i = group.samples; i < group.bytes; ++i, low >>= 8U) {
            bytes.push_back(static_cast<uint8_t>(low & 0xFFU));
        }
    }
    return bytes;
}

}  // namespace cali::host
