#include "math/colour_difference.h"

#include <cmath>
#include <numbers>

namespace cali {
namespace {

constexpr double kRadians = std::numbers::pi / 180.0;

double cos_degrees(double angle) { return std::cos(angle * kRadians); }
double sin_degrees(double angle) { return std::sin(angle * kRadians); }

/// 0 up to 360; a grey has hue 0, whatever the signs of its zeros.
double hue(double a, double b) {
    if (a == 0 && b == 0) {
        return 0;
    }
    const double angle = std::atan2(b, a) / kRadians;
    return angle < 0 ? angle + 360 : angle;
}

/// The share by which chroma counts as high: 0 for greys, towards 1 for vivid colours.
double high_chroma(double chroma) {
    const double c7 = std::pow(chroma, 7);
    return std::sqrt(c7 / (c7 + std::pow(25.0, 7)));
}

}  // namespace

double delta_e_1976(const Colour& lab1, const Colour& lab2) {
    return std::hypot(lab1[0] - lab2[0], lab1[1] - lab2[1], lab1[2] - lab2[2]);
}

// Implementation notes: G. Sharma, W. Wu, E. N. Dalal, "The CIEDE2000 color-difference formula", 2005.
double delta_e_2000(const Colour& lab1, const Colour& lab2) {
    const double mean_lab_chroma = (std::hypot(lab1[1], lab1[2]) + std::hypot(lab2[1], lab2[2])) / 2;
    const double stretch = 1 + 0.5 * (1 - high_chroma(mean_lab_chroma));
    const double a1 = stretch * lab1[1];
    const double a2 = stretch * lab2[1];
    const double chroma1 = std::hypot(a1, lab1[2]);
    const double chroma2 = std::hypot(a2, lab2[2]);
    const double hue1 = hue(a1, lab1[2]);
    const double hue2 = hue(a2, lab2[2]);

    // Beside a grey there is no difference of hue, and the other colour's hue is the mean.
    double hue_step = 0;
    double mean_hue = hue1 + hue2;
    if (chroma1 * chroma2 != 0) {
        hue_step = hue2 - hue1;
        mean_hue /= 2;
        if (std::abs(hue_step) > 180) {
            hue_step += hue_step > 0 ? -360 : 360;
            mean_hue += mean_hue < 180 ? 180 : -180;
        }
    }
    const double lightness_difference = lab2[0] - lab1[0];
    const double chroma_difference = chroma2 - chroma1;
    const double hue_difference = 2 * std::sqrt(chroma1 * chroma2) * sin_degrees(hue_step / 2);

    const double mean_chroma = (chroma1 + chroma2) / 2;
    const double from_middle = std::pow((lab1[0] + lab2[0]) / 2 - 50, 2);
    const double t = 1 - 0.17 * cos_degrees(mean_hue - 30) + 0.24 * cos_degrees(2 * mean_hue) +
                     0.32 * cos_degrees(3 * mean_hue + 6) - 0.20 * cos_degrees(4 * mean_hue - 63);
    const double blue = 30 * std::exp(-std::pow((mean_hue - 275) / 25, 2));
    const double rotation = -2 * high_chroma(mean_chroma) * sin_degrees(2 * blue);
    const double lightness = lightness_difference / (1 + 0.015 * from_middle / std::sqrt(20 + from_middle));
    const double chroma = chroma_difference / (1 + 0.045 * mean_chroma);
    const double turned = hue_difference / (1 + 0.015 * mean_chroma * t);
    return std::sqrt(lightness * lightness + chroma * chroma + turned * turned + rotation * chroma * turned);
}

DifferenceSummary summarise(std::span<const Colour> lab, std::span<const Colour> reference,
                            double (*difference)(const Colour&, const Colour&)) {
    DifferenceSummary summary;
    for (std::size_t patch = 0; patch < lab.size(); ++patch) {
        const double found = difference(lab[patch], reference[patch]);
        summary.per_patch.push_back(found);
        summary.mean += found / static_cast<double>(lab.size());
        if (found > summary.worst) {
            summary.worst = found;
            summary.worst_patch = patch;
        }
    }
    return summary;
}

}  // namespace cali
