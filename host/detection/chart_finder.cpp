#include "detection/chart_finder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "base/error.h"
#include "base/text.h"
#include "detection/chart_guess.h"
#include "detection/chart_refine.h"

namespace cali::host {
namespace {

constexpr std::size_t kLeastNodes = 9;
constexpr std::size_t kRefined = 4;     // of the best places
constexpr double kWorthAligning = 0.5;  // colour residual

/// Share of the windows that are of one colour.
double flat_share(const SmallPicture& picture, const ChartMap& map) {
    constexpr int kSamples = 5;
    constexpr double kUneven = 0.05;
    int flat = 0;
    for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
        double worst = 0;
        std::array<double, 3> sum{};
        std::array<double, 3> squares{};
        for (int i = 0; i < kSamples * kSamples; ++i) {
            const double du = ((i % kSamples) - 2) / 2.0 * kMeasuredHalf;
            const double dv = ((i / kSamples) - 2) / 2.0 * kMeasuredHalf;
            const auto level = picture.level_at(map(column_of(patch) + du, row_of(patch) + dv));
            for (std::size_t c = 0; c < 3; ++c) {
                sum[c] += level[c] / (kSamples * kSamples);
                squares[c] += level[c] * level[c] / (kSamples * kSamples);
            }
        }
        for (std::size_t c = 0; c < 3; ++c) {
            worst = std::max(worst, std::sqrt(std::max(squares[c] - sum[c] * sum[c], 0.0)));
        }
        flat += worst < kUneven + 3 * picture.noise ? 1 : 0;
    }
    return static_cast<double>(flat) / kChartPatches;
}

/// Colours in the other orders that the same cells allow: the chart turned or mirrored.
double other_order(const PatchColours& colours) {
    double best = 1;
    for (int index = 1; index < 4; ++index) {
        const auto order = reading_order(index);
        PatchColours other{};
        for (std::size_t patch = 0; patch < kChartPatches; ++patch) {
            other[patch] = colours[order[patch]];
        }
        best = std::min(best, fit_colours(other).residual);
    }
    return best;
}

/// 1 at `good` and better, 0 at `bad` and worse.
double ramp(double value, double good, double bad) { return std::clamp((value - bad) / (good - bad), 0.0, 1.0); }

double confidence_of(const ChartGuess& guess) {
    return ramp(guess.fit.residual, 0.10, 0.45) * ramp(guess.fit.worst, 0.3, 1.2) *
           ramp(guess.fit.residual / guess.other_order, 0.4, 0.9) * ramp(guess.edge_support, 0.7, 0.3) *
           ramp(guess.flat_share, 0.9, 0.5);
}

std::string orientation_of(const ChartMap& map) {
    const Point left = map(0, 2);
    const Point right = map(6, 2);
    const double turn = std::atan2(right.y - left.y, right.x - left.x) * 180 / std::numbers::pi;
    if (std::abs(turn) < 10) {
        return "upright";
    }
    return text("turned by %.0f degrees %s", std::abs(turn), turn > 0 ? "clockwise" : "anticlockwise");
}

}  // namespace

FoundChart find_chart(const Capture& capture, const BlackLevels& black_level) {
    FoundChart result;
    if (capture.sensor.mono) {
        result.reason = "the capture has no colours";
        return result;
    }
    const SmallPicture picture = small_picture(capture, black_level);
    if (picture.width == 0) {
        result.reason = "the frame is too small";
        return result;
    }
    const std::vector<FlatRegion> regions = flat_regions(picture);
    const double scale = picture.photosites;
    for (const FlatRegion& region : regions) {
        result.tried.push_back({region.centre.x * scale, region.centre.y * scale});
    }
    std::vector<ChartGuess> guesses;
    const std::vector<PatchLattice> lattices = patch_lattices(regions, kLeastNodes);
    for (const PatchLattice& lattice : lattices) {
        add_guesses(picture, lattice, guesses);
    }
    if (guesses.empty()) {
        result.reason = lattices.empty() ? "no rows and columns of patches are seen"
                                         : "no 6 x 4 patches lie in rows and columns inside the frame";
        return result;
    }
    std::ranges::stable_sort(guesses, {}, [](const ChartGuess& p) { return p.fit.residual; });
    guesses.erase(guesses.begin() + static_cast<std::ptrdiff_t>(std::min(guesses.size(), kRefined)), guesses.end());
    const ChartGuess* best = nullptr;
    double best_confidence = -1;
    for (ChartGuess& guess : guesses) {
        refine(picture, guess);
        if (fit_colours(measure_patches(picture, guess.map)).residual < kWorthAligning) {
            // Edge by edge and all at once err in different ways: the middle is nearer than either.
            const Corners by_sides = guess.map.corners();
            align(picture, guess);
            Corners corners = guess.map.corners();
            for (std::size_t i = 0; i < corners.size(); ++i) {
                corners[i] = {(corners[i].x + by_sides[i].x) / 2, (corners[i].y + by_sides[i].y) / 2};
            }
            guess.map = ChartMap(corners);
        }
        const PatchColours colours = measure_patches(picture, guess.map);
        guess.fit = fit_colours(colours);
        guess.other_order = other_order(colours);
        guess.flat_share = flat_share(picture, guess.map);
        if (const double confidence = confidence_of(guess); confidence > best_confidence) {
            best = &guess;
            best_confidence = confidence;
        }
    }

    result.confidence = best_confidence;
    result.colour_residual = best->fit.residual;
    result.other_order = best->other_order;
    result.edge_support = best->edge_support;
    result.flat_share = best->flat_share;
    result.corners = best->map.corners();
    for (Point& corner : result.corners) {
        corner = {corner.x * scale, corner.y * scale};
    }
    if (best_confidence < kLeastConfidence) {
        result.reason =
            text("the most likely 6 x 4 patches have a confidence of %.2f, expected %.2f or more: ", best_confidence,
                 kLeastConfidence) +
            (best->fit.residual > 0.2 ? "their colours are not the chart's" : "their edges are not clear");
        return result;
    }
    if (best->mirrored) {
        result.reason = "the chart is mirrored";
        return result;
    }
    try {
        result.windows = windows_from_corners(result.corners);
    } catch (const InputError& error) {
        result.reason = error.what();
        return result;
    }
    if (!std::ranges::all_of(result.windows, [&](const RoiRect& window) {
            return window_fits(window, capture.sensor.width, capture.sensor.height);
        })) {
        result.reason = "the chart is not wholly inside the frame";
        return result;
    }
    result.orientation = orientation_of(best->map);
    result.found = true;
    return result;
}

}  // namespace cali::host