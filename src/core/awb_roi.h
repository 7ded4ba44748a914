/// The white-balance window.
#pragma once

#include <cstdint>

namespace cali {

/// In frame coordinates, even-aligned. Kept between calls.
struct AwbRoi {
    int32_t x = 0;
    int32_t y = 0;
    int32_t width = 0;
    int32_t height = 0;
};

}  // namespace cali
