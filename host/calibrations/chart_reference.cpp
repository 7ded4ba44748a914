#include "calibrations/chart_reference.h"

#include <algorithm>
#include <array>

#include "base/least_squares.h"
#include "chart/chart_table.h"

namespace cali::host {
namespace {

struct NamedWhite {
    const char* name;
    Colour degrees2;
    Colour degrees10;
};

// ASTM E308.
constexpr std::array<NamedWhite, 7> kWhites = {{
    {"A", {1.09850, 1, 0.35585}, {1.11144, 1, 0.35200}},
    {"C", {0.98074, 1, 1.18232}, {0.97285, 1, 1.16145}},
    {"D50", {0.96422, 1, 0.82521}, {0.96720, 1, 0.81427}},
    {"D55", {0.95682, 1, 0.92149}, {0.95799, 1, 0.90926}},
    {"D65", {0.95047, 1, 1.08883}, {0.94811, 1, 1.07304}},
    {"D75", {0.94972, 1, 1.22638}, {0.94416, 1, 1.20641}},
    {"E", {1, 1, 1}, {1, 1, 1}},
}};

Colour linear_rgb(const Colour& xyz, const WhitePoint& white) {
    LeastSquares<3> system(0);  // as many equations as unknowns: exact
    for (std::size_t row = 0; row < xyz.size(); ++row) {
        system.add(white.xyz_of_rgb[row], xyz[row], 1);
    }
    return system.solution();
}

}  // namespace

std::optional<Colour> named_white(const std::string& name, int observer) {
    const auto* const found = std::ranges::find(kWhites, name, [](const NamedWhite& white) { return white.name; });
    if (found == kWhites.end() || (observer != 2 && observer != 10)) {
        return std::nullopt;
    }
    return observer == 2 ? found->degrees2 : found->degrees10;
}

Colour xyz_of_lab(const Colour& lab, const Colour& white) {
    const double fy = (lab[0] + 16) / 116;
    return {white[0] * lab_f_inverse(fy + lab[1] / 500), white[1] * lab_f_inverse(fy),
            white[2] * lab_f_inverse(fy - lab[2] / 200)};
}

std::vector<Colour> linear_colours(const ChartReference& reference, int white_selector) {
    const WhitePoint& to = white_point(white_selector);
    std::vector<Colour> linear;
    linear.reserve(reference.xyz.size());
    for (const Colour& xyz : reference.xyz) {
        linear.push_back(linear_rgb(adapt_bradford(xyz, reference.white, {to.x, 1, to.z}), to));
    }
    return linear;
}

Colour xyz_of_linear(const Colour& linear, int white_selector, const Colour& to) {
    const WhitePoint& from = white_point(white_selector);
    Colour xyz{};
    for (std::size_t row = 0; row < xyz.size(); ++row) {
        const Colour& weights = from.xyz_of_rgb[row];
        xyz[row] = weights[0] * linear[0] + weights[1] * linear[1] + weights[2] * linear[2];
    }
    return adapt_bradford(xyz, {from.x, 1, from.z}, to);
}

std::vector<Colour> built_in_colours() {
    std::vector<Colour> linear;
    linear.reserve(kChartPatches);
    for (const auto& encoded : kChartSrgb24) {
        linear.push_back({static_cast<double>(srgb_decode(encoded[0])), static_cast<double>(srgb_decode(encoded[1])),
                          static_cast<double>(srgb_decode(encoded[2]))});
    }
    return linear;
}

std::string reference_name(const std::filesystem::path& file) {
    return file.empty() ? kBuiltInReference : file.filename().string();
}

}  // namespace cali::host
