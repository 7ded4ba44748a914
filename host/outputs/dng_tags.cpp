#include "outputs/dng_tags.h"

#include <algorithm>
#include <cmath>

#include "base/least_squares.h"
#include "base/text.h"
#include "cali/cali.h"
#include "calibrations/chart_reference.h"
#include "outputs/stack_tables.h"
#include "simulation/illuminant.h"

namespace cali::host {
namespace {

constexpr double kStandardA = 2856;
constexpr double kD65Kelvin = 6504;

struct LightCode {
    double kelvin;
    int code;
    const char* name;
};

/// Codes of the Exif tag LightSource that stand for a white.
constexpr std::array<LightCode, 6> kLightCodes = {{{kStandardA, 17, "standard light A"},
                                                   {3200, 24, "ISO studio tungsten"},
                                                   {5003, 23, "D50"},
                                                   {5503, 20, "D55"},
                                                   {kD65Kelvin, 21, "D65"},
                                                   {7504, 22, "D75"}}};
constexpr double kCloseMired = 12;  // a light differs no more from the one that stands for it
constexpr LightCode kOther = {0, 255, "other"};

double mired(double kelvin) { return 1e6 / kelvin; }

LightCode code_of(int kelvin) {
    const auto off = [&](const LightCode& light) { return std::abs(mired(light.kelvin) - mired(kelvin)); };
    const LightCode& nearest = *std::ranges::min_element(kLightCodes, {}, off);
    return off(nearest) <= kCloseMired ? nearest : kOther;
}

using Matrix = std::array<Colour, 3>;

Colour apply(const Matrix& matrix, const Colour& colour) {
    Colour made{};
    for (std::size_t row = 0; row < 3; ++row) {
        made[row] = matrix[row][0] * colour[0] + matrix[row][1] * colour[1] + matrix[row][2] * colour[2];
    }
    return made;
}

/// The matrix of a linear map.
template <typename Map>
Matrix matrix_of(Map map) {
    Matrix made{};
    for (std::size_t column = 0; column < 3; ++column) {
        Colour unit{};
        unit[column] = 1;
        const Colour image = map(unit);
        for (std::size_t row = 0; row < 3; ++row) {
            made[row][column] = image[row];
        }
    }
    return made;
}

Colour solve(const Matrix& matrix, const Colour& right) {
    LeastSquares<3> system(0);  // as many equations as unknowns: exact
    for (std::size_t row = 0; row < 3; ++row) {
        system.add(matrix[row], right[row], 1);
    }
    return system.solution();
}

std::string numbers(const Matrix& matrix) {
    std::string line;
    for (const Colour& row : matrix) {
        for (const double value : row) {
            line += " " + decimal_text(value, 4);
        }
    }
    return line;
}

/// Balanced camera colours to XYZ of D50, in which the camera's white is that of D50.
Matrix forward_matrix(const LightMatrix& matrix) {
    const Colour d50 = *named_white("D50", 2);
    return matrix_of([&](const Colour& balanced) {
        const Colour linear = apply({Colour{matrix.value[0], matrix.value[1], matrix.value[2]},
                                     Colour{matrix.value[3], matrix.value[4], matrix.value[5]},
                                     Colour{matrix.value[6], matrix.value[7], matrix.value[8]}},
                                    balanced);
        return xyz_of_linear(linear, matrix.made.settings.white_point, d50);
    });
}

/// XYZ under the light to camera colours before balance, in which grey is what the sensor makes of it.
Matrix colour_matrix(const Matrix& forward, const LightGrey& grey) {
    const Colour d50 = *named_white("D50", 2);
    const Colour light = illuminant_white(grey.kelvin);
    return matrix_of([&](const Colour& xyz) {
        Colour camera = solve(forward, adapt_bradford(xyz, light, d50));
        camera[0] *= grey.red_over_green;
        camera[2] *= grey.blue_over_green;
        return camera;
    });
}

std::string noise_line(const NoiseResults& noise, const CameraValues& values) {
    const auto black = values.black_level.value_or(Channels<double>{});
    const double full = full_scale_code(values.sensor);
    const auto pair = [&](std::initializer_list<std::size_t> channels) {
        double slope = 0;
        double offset = 0;
        for (const std::size_t c : channels) {
            const auto& [weighted_slope, weighted_intercept] = noise.weighted[c];
            const bool weighted = weighted_slope.uncertainty > 0;
            const double range = full - black[c];
            slope += (weighted ? weighted_slope.value : static_cast<double>(noise.variance[c].slope)) / range;
            offset += (weighted ? weighted_intercept.value : static_cast<double>(noise.variance[c].intercept)) /
                      (range * range);
        }
        const auto count = static_cast<double>(channels.size());
        return text(" %.8g %.8g", slope / count, std::max(offset / count, 0.0));
    };
    return "NoiseProfile:" +
           (values.sensor.mono ? pair({kRR, kGR, kGB, kBB}) : pair({kRR}) + pair({kGR, kGB}) + pair({kBB})) + "\n";
}

}  // namespace

ExportText dng_tags(const CameraValues& values) {
    ExportText made{"# cali " CALI_VERSION_STRING ", sensor of " + to_text(values.sensor) + "\n", values.notes};
    if (values.black_level) {
        const double scale = std::pow(2.0, values.sensor.bits - kLibraryBits);
        made.text += "# codes of the file: RR, GR, GB, BB\nBlackLevel:";
        for (const double code : *values.black_level) {
            made.text += " " + decimal_text(code * scale, 2);
        }
        made.text += "\n";
    }
    std::vector<const LightMatrix*> chosen;
    for (const double kelvin : {kStandardA, kD65Kelvin}) {
        const auto nearest = std::ranges::min_element(values.matrices, {}, [&](const LightMatrix& matrix) {
            return std::abs(mired(matrix.kelvin) - mired(kelvin));
        });
        if (nearest != values.matrices.end() && (chosen.empty() || chosen.front() != &*nearest)) {
            chosen.push_back(&*nearest);
        }
    }
    if (chosen.empty()) {
        made.notes.emplace_back("matrices: left out, the results hold none of known light");
    }
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        const LightMatrix& matrix = *chosen[i];
        const LightCode code = code_of(matrix.kelvin);
        const Matrix forward = forward_matrix(matrix);
        made.text += text("# %d K: %s\nCalibrationIlluminant%zu: %d\n", matrix.kelvin, code.name, i + 1, code.code);
        if (code.code == kOther.code) {
            made.notes.push_back(
                text("CalibrationIlluminant%zu: no code stands for %d K, written as other", i + 1, matrix.kelvin));
        }
        const auto grey = std::ranges::find(values.greys, matrix.kelvin, &LightGrey::kelvin);
        if (grey != values.greys.end()) {
            made.text += text("ColorMatrix%zu:", i + 1) + numbers(colour_matrix(forward, *grey)) + "\n";
        } else {
            made.notes.push_back(
                text("ColorMatrix%zu: left out, the results hold no grey card of %d K", i + 1, matrix.kelvin));
        }
        made.text += text("ForwardMatrix%zu:", i + 1) + numbers(forward) + "\n";
    }
    if (values.noise) {
        made.text += noise_line(*values.noise, values);
    } else {
        made.notes.emplace_back("NoiseProfile: left out, the results hold no noise profile");
    }
    return made;
}

}  // namespace cali::host
