/// Positions outside a line of samples.
#pragma once

#include <algorithm>
#include <cstdint>

namespace cali {

/// Position of sample `i` in a line of `size` that is reflected about its first and last samples, as often as it takes.
/// Parity, and with it the colour of a photosite, stays, but in a line of one sample.
[[nodiscard]] constexpr int32_t reflect(int32_t i, int32_t size) {
    if (size == 1) {
        return 0;
    }
    const int32_t period = 2 * (size - 1);
    const int32_t offset = (i % period + period) % period;
    return std::min(offset, period - offset);
}

}  // namespace cali
