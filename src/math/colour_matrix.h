/// Colour-correction matrices as the registers hold them.
#pragma once

#include <array>
#include <cstdint>

#include "core/arithmetic.h"

namespace cali {

/// Row-major; row c gives output channel c.
struct ColourMatrix {
    std::array<float, 9> value{1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::array<int32_t, 9> q10{1024, 0, 0, 0, 1024, 0, 0, 0, 1024};  ///< 1024 = 1.0

    /// Rounds the first two elements of each row; the third makes the row sum to 1024, so that white stays white.
    void round_to_q10() {
        for (std::size_t row = 0; row < 9; row += 3) {
            q10[row] = add_half_and_truncate(static_cast<double>(value[row] * 1024.0F));
            q10[row + 1] = add_half_and_truncate(static_cast<double>(value[row + 1] * 1024.0F));
            q10[row + 2] = wrap_sub(wrap_sub(1024, q10[row + 1]), q10[row]);
        }
    }
};

}  // namespace cali
