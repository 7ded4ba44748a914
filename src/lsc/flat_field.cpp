#include "lsc/flat_field.h"

#include <algorithm>
#include <cmath>

#include "core/arithmetic.h"

namespace cali::lsc {
namespace {

constexpr int32_t kRowsTogether = 8;

/// Rows are independent chains of additions; several at a time hide their latency.
template <int32_t rows>
void add_rows(const ChannelPlanes& planes, int32_t first, LightProfiles& profiles) {
    std::array<const int32_t*, rows> source{};
    std::array<float, rows> sum{};
    for (int32_t k = 0; k < rows; ++k) {
        source[static_cast<std::size_t>(k)] = planes.row(GR, first + k);
    }
    for (std::size_t c = 0; c < planes.columns(); ++c) {
        float column = profiles.columns[c];
        for (std::size_t k = 0; k < rows; ++k) {
            const auto sample = static_cast<float>(source[k][c]);
            column += sample;
            sum[k] += sample;
        }
        profiles.columns[c] = column;
    }
    std::ranges::copy(sum, profiles.rows.begin() + first);
}

float centroid(const std::vector<float>& profile) {
    float moment = 0;
    float total = 0;
    for (std::size_t i = 0; i < profile.size(); ++i) {
        moment += static_cast<float>(i) * profile[i];
        total += profile[i];
    }
    return total > 0 ? moment / total : -1.0F;
}

}  // namespace

LightProfiles measure_profiles(const ChannelPlanes& planes) {
    LightProfiles profiles{std::vector<float>(planes.columns()),
                           std::vector<float>(static_cast<std::size_t>(planes.height))};
    int32_t y = 0;
    for (; y + kRowsTogether <= planes.height; y += kRowsTogether) {
        add_rows<kRowsTogether>(planes, y, profiles);
    }
    for (; y < planes.height; ++y) {
        add_rows<1>(planes, y, profiles);
    }
    return profiles;
}

LightCentre find_light_centre(const LightProfiles& profiles) {
    const auto x = static_cast<double>(centroid(profiles.columns));
    const auto y = static_cast<double>(centroid(profiles.rows));
    const LightCentre centre{to_int32(x), to_int32(y)};
    const bool found = x >= 0 && y >= 0 && x < static_cast<double>(profiles.columns.size()) &&
                       y < static_cast<double>(profiles.rows.size());
    return {centre.x, centre.y, found};
}

CentreSignal FlatField::at_centre(const LightCentre& centre) const {
    CentreSignal result;
    for (std::size_t code = 0; code < kChannels; ++code) {
        result.measured[code] = wrap_sub(planes->row(code, centre.y)[centre.x], black);
        result.signal[code] = static_cast<float>(std::max(result.measured[code], 0));
    }
    result.green = result.signal[GR] + result.signal[GB];
    result.red_ratio = result.green / (2.0F * result.signal[RR]);
    result.blue_ratio = result.green / (2.0F * result.signal[BB]);
    return result;
}

PerChannel<float> FlatField::sample_at(float x, float y) const {
    const float px = std::min(x / 2.0F, static_cast<float>(planes->width - 1));
    const float py = std::min(y / 2.0F, static_cast<float>(planes->height - 1));
    const auto x0 = static_cast<int32_t>(px);
    const auto y0 = static_cast<int32_t>(py);
    const int32_t x1 = std::min(x0 + 1, planes->width - 1);
    const int32_t y1 = std::min(y0 + 1, planes->height - 1);
    const float fx = px - static_cast<float>(x0);
    const float fy = py - static_cast<float>(y0);
    PerChannel<float> result;
    for (std::size_t code = 0; code < kChannels; ++code) {
        const int32_t* const upper = planes->row(code, y0);
        const int32_t* const lower = planes->row(code, y1);
        const auto a = static_cast<float>(upper[x0]);
        const auto b = static_cast<float>(upper[x1]);
        const auto c = static_cast<float>(lower[x0]);
        const auto d = static_cast<float>(lower[x1]);
        result[code] = (a * (1.0F - fx) + b * fx) * (1.0F - fy) + (c * (1.0F - fx) + d * fx) * fy;
    }
    return result;
}

void FlatField::prefetch(float x, float y) const {
    const auto x0 = std::min(static_cast<int32_t>(x / 2.0F), planes->width - 1);
    const auto y0 = std::min(static_cast<int32_t>(y / 2.0F), planes->height - 1);
    const int32_t y1 = std::min(y0 + 1, planes->height - 1);
    for (std::size_t code = 0; code < kChannels; ++code) {
        __builtin_prefetch(planes->row(code, y0) + x0);
        __builtin_prefetch(planes->row(code, y1) + x0);
    }
}

PerChannel<float> FlatField::above_black(const PerChannel<float>& sample) const {
    PerChannel<float> result;
    for (std::size_t code = 0; code < kChannels; ++code) {
        result[code] = std::max(sample[code] - static_cast<float>(black), 1.0F);
    }
    return result;
}

}  // namespace cali::lsc
