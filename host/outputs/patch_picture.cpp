#include "outputs/patch_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "base/png_picture.h"
#include "chart/chart_table.h"
#include "math/colour_space.h"

namespace cali::host {
namespace {

constexpr uint8_t kBackground = 24;  // darker than the darkest patch
constexpr std::size_t kCell = kPictureCell;
constexpr std::size_t kGap = kPictureGap;
constexpr std::size_t kStripe = kCell / 3;
constexpr std::size_t kPictureWidth = kChartColumns * (kCell + kGap) + kGap;
constexpr std::size_t kPictureHeight = kChartRows * (kCell + kGap) + kGap;

/// IEC 61966-2-1; dark where it is not a number.
uint8_t srgb_code(double linear) {
    const double value = linear > 0 ? std::min(linear, 1.0) : 0.0;
    return static_cast<uint8_t>(std::lround(255 * srgb_encode(value)));
}

}  // namespace

std::string patch_picture(const Swatches& swatches) {
    const std::array stripes = {&swatches.measured, &swatches.corrected, &swatches.reference};
    std::vector<uint8_t> pixels(kPictureWidth * kPictureHeight * 3, kBackground);
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        const std::size_t left = kGap + patch % kChartColumns * (kCell + kGap);
        const std::size_t top = kGap + patch / kChartColumns * (kCell + kGap);
        for (std::size_t stripe = 0; stripe < stripes.size(); ++stripe) {
            const Colour& colour = (*stripes[stripe])[patch];
            const std::array<uint8_t, 3> code = {srgb_code(colour[0]), srgb_code(colour[1]), srgb_code(colour[2])};
            for (std::size_t y = top; y < top + kCell; ++y) {
                for (std::size_t x = 0; x < kStripe; ++x) {
                    std::ranges::copy(code, &pixels[(y * kPictureWidth + left + stripe * kStripe + x) * 3]);
                }
            }
        }
    }
    return png_of(pixels, kPictureWidth, kPictureHeight);
}

}  // namespace cali::host
