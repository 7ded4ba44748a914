#include "ccm_optimised/printed_minima.h"

#include <cstdio>
#include <sstream>

namespace cali::ccm_optimised {

void PrintedMinima::hue_and_saturation(double hue, double saturation, double error) {
    std::ostringstream text;
    text << "found minimum at f(" << hue << "," << saturation << ") =" << error << "\n";
    std::printf("%s", text.str().c_str());
}

void PrintedMinima::matrix(const Matrix3& matrix, double error) {
    std::printf("found minimum at f(\n");
    for (std::size_t row = 0; row < matrix.size(); row += 3) {
        std::printf("%lf,%lf,%lf,\n", matrix[row], matrix[row + 1], matrix[row + 2]);
    }
    std::printf(") = %lf\n", error);
}

}  // namespace cali::ccm_optimised
