/// Pictures of noise.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cali::noise {

/// a - b + 2048 within 0..4095.
void difference_image(const uint32_t* a, const uint32_t* b, std::size_t count, uint32_t* output);

/// Standard deviation of each photosite over `nframes` frames, 2 or more; in double, narrowed.
void deviation_image(const uint32_t* const* frames, std::size_t nframes, std::size_t count, float* output);

}  // namespace cali::noise
