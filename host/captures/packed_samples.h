/// Rows of samples packed as MIPI CSI-2 sends them: the high bytes of a group of samples, then their low bits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "captures/geometry.h"

namespace cali::host {

/// 10, 12 or 14. `packing` must not be none.
[[nodiscard]] int bits_of(Packing packing);
/// none where no packing has that depth.
[[nodiscard]] Packing packing_of(int bits);

/// Bytes of a row; a last group that is not full counts whole.
[[nodiscard]] std::size_t packed_row_bytes(Packing packing, int width);

/// Fills `codes`, one per photosite of the row, from packed_row_bytes bytes.
void unpack_row(Packing packing, std::span<const uint8_t> bytes, std::span<uint16_t> codes);

/// One row, packed_row_bytes long; photosites that fill up the last group are 0.
[[nodiscard]] std::vector<uint8_t> pack_row(Packing packing, std::span<const uint16_t> codes);

}  // namespace cali::host
