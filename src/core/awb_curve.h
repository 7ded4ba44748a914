/// The white-balance curve's coefficients.
#pragma once

namespace cali {

/// y = a x^2 + b x + c. Kept between calls.
struct AwbCurve {
    float a = 0;
    float b = 0;
    float c = 0;
};

}  // namespace cali
