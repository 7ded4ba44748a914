#include "regions/roi_colour.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "core/arithmetic.h"

namespace cali::regions {
namespace {

constexpr double kFullScale = 255.0;
constexpr std::array kColours = {&RoiRgbMean::b, &RoiRgbMean::g, &RoiRgbMean::r};

// The white and the rounded coefficients of this adjustment are its own, not those of the colour spaces in math.
constexpr double kWhiteX = 0.9515;
constexpr double kWhiteZ = 1.0886;
constexpr double kLinearBelow = 0.008856;
constexpr double kLinearSlope = 903.3;

struct Lab {
    double l;
    double a;
    double b;
};

double clamp_code(double value) { return std::clamp(value, 0.0, kFullScale); }

double lab_f(double t) {
    return t > kLinearBelow ? std::pow(t, 0.3333333333333333) : (kLinearSlope * t + 16.0) / 116.0;
}

double inverse_f(double f) {
    const double cube = f * f * f;
    return cube > kLinearBelow ? cube : (116.0 * f - 16.0) / kLinearSlope;
}

Lab lab_of(const RoiRgbMean& colour) {
    const double r = colour.r / kFullScale;
    const double g = colour.g / kFullScale;
    const double b = colour.b / kFullScale;
    const double fx = lab_f((0.4124564 * r + 0.3575761 * g + 0.1804375 * b) / kWhiteX);
    const double fy = lab_f(0.2126729 * r + 0.7151522 * g + 0.072175 * b);
    const double fz = lab_f((0.0193339 * r + 0.119192 * g + 0.9503041 * b) / kWhiteZ);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

struct Brightness {
    float mean;
    float deviation;
};

Brightness brightness_of(const RoiRgbMean& colour) {
    float sum = 0;
    float squares = 0;
    for (const auto channel : kColours) {
        sum += static_cast<float>(colour.*channel);
        squares += static_cast<float>(colour.*channel * colour.*channel);
    }
    const float mean = sum / 3.0F;
    return {mean, std::sqrt(squares / 3.0F - mean * mean)};
}

struct Grey {
    float mean;
    ColourPair pair;
};

void sort_by_mean(std::vector<Grey>& greys) {
    if (std::ranges::none_of(greys, [](const Grey& grey) { return std::isnan(grey.mean); })) {
        std::ranges::stable_sort(greys, {}, &Grey::mean);
        return;
    }
    // Exchanges of neighbours: means that are no numbers have no order, and stop whatever meets them.
    for (std::size_t last = greys.size(); last > 1; --last) {
        for (std::size_t i = 0; i + 1 < last; ++i) {
            if (greys[i].mean > greys[i + 1].mean) {
                std::swap(greys[i], greys[i + 1]);
            }
        }
    }
}

/// Inserts for the gaps under one step; their sum.
uint64_t plan_with_step(const std::vector<uint64_t>& gaps, uint64_t step, float fraction,
                        std::vector<uint64_t>& inserts) {
    const int32_t most_left = to_int32(static_cast<double>(static_cast<float>(step) * fraction));
    uint64_t sum = 0;
    for (std::size_t i = 0; i < gaps.size(); ++i) {
        const bool one_more = static_cast<int64_t>(gaps[i] % step) > most_left;
        inserts[i] = gaps[i] / step + (one_more ? 1 : 0);
        sum += inserts[i];
    }
    return sum;
}

}  // namespace

RoiRgbMean measure_region(const uint8_t* image, int32_t width, const RoiRect& region) {
    // Whole numbers: the order of their sum does not matter.
    std::array<uint64_t, 3> sum{};
    double count = 0;
    if (region.w > 0 && region.h > 0) {
        for (int64_t y = region.y; y < int64_t{region.y} + region.h; ++y) {
            const uint8_t* pixel = image + (y * width + region.x) * 3;
            for (int32_t x = 0; x < region.w; ++x, pixel += 3) {
                sum[0] += pixel[0];
                sum[1] += pixel[1];
                sum[2] += pixel[2];
            }
        }
        count = static_cast<double>(region.w) * static_cast<double>(region.h);
    }
    const auto mean = [&](std::size_t c) { return static_cast<double>(sum[c]) / count; };
    return {mean(0), mean(1), mean(2), 1, 0};
}

void fit_lines(std::span<const RoiRgbMean> measured, std::span<const RoiRgbMean> reference,
               std::span<RoiRgbMean> adjusted) {
    const auto n = static_cast<double>(measured.size());
    for (const auto channel : kColours) {
        double sum_x = 0;
        double sum_y = 0;
        double sum_xy = 0;
        double sum_xx = 0;
        for (std::size_t k = 0; k < measured.size(); ++k) {
            const double x = measured[k].*channel / kFullScale;
            const double y = reference[k].*channel / kFullScale;
            sum_x += x;
            sum_y += y;
            sum_xy += x * y;
            sum_xx += x * x;
        }
        const double mean_x = sum_x / n;
        const double mean_y = sum_y / n;
        const double slope = (sum_xy - n * mean_x * mean_y) / (sum_xx - n * mean_x * mean_x);
        const double intercept = mean_y - slope * mean_x;
        for (std::size_t k = 0; k < measured.size(); ++k) {
            adjusted[k].*channel = clamp_code(slope * (measured[k].*channel) + intercept * kFullScale);
        }
    }
}

void transfer_lightness(const RoiRgbMean& measured, const RoiRgbMean& reference, RoiRgbMean& adjusted) {
    const Lab own = lab_of(measured);
    const double l = lab_of(reference).l;
    const double fy = (l + 16.0) / 116.0;
    const double fx = own.a / 500.0 + fy;
    const double fz = fy - own.b / 200.0;
    const double x = inverse_f(fx) * kWhiteX;
    // The test is on the linear branch's value.
    const double y = l / kLinearSlope > kLinearBelow ? fy * fy * fy : l / kLinearSlope;
    const double z = inverse_f(fz) * kWhiteZ;
    adjusted.r = clamp_code((3.2404542 * x - 1.5371385 * y - 0.4985314 * z) * kFullScale);
    adjusted.g = clamp_code((-0.969266 * x + 1.8760108 * y + 0.041556 * z) * kFullScale);
    adjusted.b = clamp_code((0.0556434 * x - 0.2040259 * y + 1.0572252 * z) * kFullScale);
}

std::vector<ColourPair> grey_pairs(std::span<const RoiRgbMean> measured, std::span<const RoiRgbMean> reference,
                                   uint16_t tolerance) {
    std::vector<Grey> kept;
    for (std::size_t i = 0; i < measured.size(); ++i) {
        const auto [mean, deviation] = brightness_of(measured[i]);
        const float limit = std::max(3.0F, mean / 255.0F * static_cast<float>(tolerance));
        if (!(deviation > limit)) {
            kept.push_back({mean, {measured[i], reference[i]}});
        }
    }
    sort_by_mean(kept);
    std::vector<ColourPair> pairs;
    pairs.reserve(kept.size());
    std::ranges::transform(kept, std::back_inserter(pairs), &Grey::pair);
    return pairs;
}

std::vector<uint64_t> plan_inserts(const std::vector<ColourPair>& pairs, const GrayInterpSettings& settings) {
    constexpr int kMostWidenings = 30;
    std::vector<uint64_t> gaps;
    for (std::size_t i = 0; i + 1 < pairs.size(); ++i) {
        const float gap = std::abs(brightness_of(pairs[i].measured).mean - brightness_of(pairs[i + 1].measured).mean);
        gaps.push_back(static_cast<uint64_t>(std::max(to_int32(static_cast<double>(gap)), 0)));
    }
    std::vector<uint64_t> inserts(gaps.size());
    uint64_t step = settings.step;
    for (int widening = 0; widening <= kMostWidenings; ++widening, step += 2) {
        if (plan_with_step(gaps, step, settings.step_fraction, inserts) <= settings.max_add) {
            return inserts;
        }
    }
    return {};
}

ColourPair between(const ColourPair& lower, const ColourPair& upper, uint64_t part, uint64_t parts) {
    const auto j = static_cast<double>(part);
    const auto k = static_cast<double>(parts);
    ColourPair pair;
    for (const auto channel : kColours) {
        for (const auto side : {&ColourPair::measured, &ColourPair::reference}) {
            const double low = lower.*side.*channel;
            pair.*side.*channel = low + (upper.*side.*channel - low) * j / k;
        }
    }
    return pair;
}

}  // namespace cali::regions
