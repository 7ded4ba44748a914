/// Plain versions of what is done to channel planes and to rows: one sample at a time, nothing shared with the library.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace cali::reference {

using Plane = std::vector<int32_t>;

/// Half the frame's size either way, by channel code; a last odd row or column is in none.
std::array<Plane, 4> split(const std::vector<uint32_t>& frame, int width, int height, int pattern);

/// 21 taps, across and then down.
Plane low_pass(Plane source, int width, int height);

/// Otsu's, then the code below which `fraction` of what is brighter lies.
int32_t bright_threshold(const Plane& plane, double fraction);

/// The Gaussian mean of the 9 x 9 neighbourhood for what is above the threshold.
Plane masked_gaussian(const Plane& plane, int width, int height, int32_t threshold);

/// The smallest above the threshold along row and column for what is below it.
Plane fill_dark(const Plane& plane, int width, int height, int32_t threshold);

/// Within 0..4095; offsets alternate.
std::vector<uint32_t> subtract_limited(std::vector<uint32_t> row, const std::array<uint32_t, 2>& offset);

/// What one filled node adds to the shifts, the weight and the nearness of a line of nodes.
struct SpreadSums {
    std::array<std::vector<double>, 3> shift;
    std::vector<double> weight, nearest;

    bool operator==(const SpreadSums&) const = default;
};
void spread(const std::array<double, 3>& shift, double own, const std::vector<double>& nearness,
            const std::vector<double>& squared, SpreadSums& sums, std::size_t count);

}  // namespace cali::reference
