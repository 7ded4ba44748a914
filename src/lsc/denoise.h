/// Cleaning of a channel plane before it is filtered: noise in its bright class, dust and scratches below it.
#pragma once

#include <cstdint>
#include <span>

namespace cali::lsc {

/// A plane's samples, row-major.
struct Plane {
    int32_t* samples = nullptr;
    int32_t width = 0;
    int32_t height = 0;

    [[nodiscard]] std::size_t columns() const { return static_cast<std::size_t>(width); }
    [[nodiscard]] std::size_t size() const { return columns() * static_cast<std::size_t>(height); }
    [[nodiscard]] int32_t* row(int32_t y) const { return samples + static_cast<std::size_t>(y) * columns(); }
};

/// The code above which all but `fraction` of the bright class lies. The bright class starts at Otsu's threshold
/// (N. Otsu, "A threshold selection method from gray-level histograms", 1979). Samples outside 0..4095 do not count.
[[nodiscard]] int32_t lsc_bright_threshold(const Plane& plane, double fraction);

/// Samples above `threshold` become the Gaussian mean of their 9 x 9 neighbourhood inside the plane, truncated.
/// `threshold` 0 or more. Throws std::bad_alloc.
void lsc_masked_gaussian(const Plane& plane, int32_t threshold, float sigma);

/// Samples below `threshold` become the mean of the smallest samples above it within 80 samples along their row and
/// along their column, or the one of the two that there is. `threshold` 0 or more. Throws std::bad_alloc.
void lsc_fill_dark(const Plane& plane, int32_t threshold);

}  // namespace cali::lsc
