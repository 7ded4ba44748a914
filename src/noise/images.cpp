#include "noise/images.h"

#include <algorithm>
#include <cmath>

namespace cali::noise {

void difference_image(const uint32_t* a, const uint32_t* b, std::size_t count, uint32_t* output) {
    constexpr int64_t kMiddle = 2048;
    constexpr int64_t kFullScale = 4095;
    for (std::size_t i = 0; i < count; ++i) {
        output[i] = static_cast<uint32_t>(std::clamp(int64_t{a[i]} - int64_t{b[i]} + kMiddle, int64_t{0}, kFullScale));
    }
}

void deviation_image(const uint32_t* const* frames, std::size_t nframes, std::size_t count, float* output) {
    for (std::size_t i = 0; i < count; ++i) {
        double sum = 0;
        for (std::size_t k = 0; k < nframes; ++k) {
            sum += frames[k][i];
        }
        const double mean = sum / static_cast<double>(nframes);
        double squares = 0;
        for (std::size_t k = 0; k < nframes; ++k) {
            const double deviation = frames[k][i] - mean;
            squares += deviation * deviation;
        }
        output[i] = static_cast<float>(std::sqrt(squares / static_cast<double>(nframes - 1)));
    }
}

}  // namespace cali::noise
