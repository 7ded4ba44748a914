/// Digests by which inputs and values are recognised again.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace cali::host {

/// XXH3 of 128 bits in 32 hexadecimal digits. It tells accidents, not forgery.
[[nodiscard]] std::string digest_of(std::span<const uint8_t> bytes);

}  // namespace cali::host
