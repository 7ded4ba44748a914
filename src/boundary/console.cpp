#include "boundary/console.h"

#include <cstdio>

#include "boundary/warning.h"

namespace cali {
namespace {

constexpr float kTooBright = 2866.5F;  // 0.7 of full scale
constexpr float kTooDark = 614.25F;    // 0.15 of full scale

}  // namespace

void PrintedProgress::row_begins(int32_t y) { std::printf("LSC...%3d%%\r", 100 * (y + 1) / height_); }

void PrintedProgress::rows_end() { std::printf("\n"); }

void PrintedProgress::print_whole() {
    for (int32_t y = 0; y < height_; ++y) {
        row_begins(y);
    }
    if (height_ > 0) {
        rows_end();
    }
}

void warn_of_exposure(float green_mean) {
    if (green_mean > kTooBright) {
        warn(Family::wb, "Too Bright");
    }
    if (green_mean < kTooDark) {
        warn(Family::wb, "Too Dark");
    }
}

}  // namespace cali
