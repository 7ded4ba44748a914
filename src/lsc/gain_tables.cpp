#include "lsc/gain_tables.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/arithmetic.h"
#include "stages/grid_placement.h"

namespace cali::lsc {
namespace {

constexpr int32_t kUnity = 512;
constexpr int32_t kLargestGain = 4095;
constexpr int32_t kLeastBorderGain = 256;
constexpr float kTurn = 6.283F;

int32_t truncate(float value) { return to_int32(static_cast<double>(value)); }

/// How far a gain lies above its register's range; 1 within it.
float excess(int32_t gain) {
    return gain <= kLargestGain ? 1.0F : static_cast<float>(gain) / static_cast<float>(kLargestGain);
}

int32_t scale_down(int32_t gain, float by) {
    return std::clamp(add_half_and_truncate(static_cast<float>(gain) / by), kUnity, kLargestGain);
}

std::size_t node_index(const ShadingTables& tables, int32_t i, int32_t j) {
    return static_cast<std::size_t>(j) * static_cast<std::size_t>(tables.cols) + static_cast<std::size_t>(i);
}

/// Frame position of node `i`, within the frame.
float node_position(int32_t i, const GridPlacement& placement, int32_t size) {
    const float position =
        static_cast<float>(i * kNodeDistance - placement.origin) / static_cast<float>(placement.step);
    return std::clamp(position, 0.0F, static_cast<float>(size - 1));
}

/// Red and blue are relative to green, which alone is scaled where a product leaves the range.
Gains mesh_gains(const PerChannel<float>& signal, const CentreSignal& centre, ShadingKind kind) {
    const float green = signal[GR] + signal[GB];
    const auto chroma = [&](float colour, float ratio) { return truncate(green / (2.0F * colour) / ratio * 512.0F); };
    const int32_t luma = add_half_and_truncate((centre.green / green + centre.green / green) * 0.5F * 512.0F);
    Gains gains;
    if (kind == ShadingKind::luma) {
        gains = {luma, luma, luma};
    } else {
        gains = {chroma(signal[RR], centre.red_ratio), kind == ShadingKind::chroma ? kUnity : luma,
                 chroma(signal[BB], centre.blue_ratio)};
    }
    const float headroom = std::max({excess(wrap_mul(gains.green, gains.red) >> 9),
                                     excess(wrap_mul(gains.blue, gains.green) >> 9), excess(gains.green)});
    return {std::clamp(gains.red, 0, kLargestGain), scale_down(gains.green, headroom),
            std::clamp(gains.blue, 0, kLargestGain)};
}

/// Sums of the luma gains around one circle.
struct CircleSums {
    float red = 0;
    float green = 0;
    float blue = 0;
    int32_t count = 0;
};

/// A point takes part if 0 <= x < width and 0 <= y <= height: the row below the last still counts, the column to the
/// right of the last does not.
CircleSums sum_circle(const FlatField& field, const CentreSignal& centre, const ShadingTables& tables, float radius) {
    CircleSums sums;
    const int32_t points = truncate(radius * kTurn);
    const float step = kTurn / static_cast<float>(points);
    // Every point is in other cache lines: they are asked for some points ahead.
    struct Point {
        float x = 0;
        float y = 0;
    };
    std::array<Point, 32> ahead;
    std::size_t waiting = 0;
    const auto add_waiting = [&] {
        for (std::size_t i = 0; i < waiting; ++i) {
            const PerChannel<float> signal = field.above_black(field.sample_at(ahead[i].x, ahead[i].y));
            sums.red += centre.signal[RR] / signal[RR];
            sums.green += (centre.signal[GB] / signal[GB] + centre.signal[GR] / signal[GR]) * 0.5F;
            sums.blue += centre.signal[BB] / signal[BB];
            ++sums.count;
        }
        waiting = 0;
    };
    for (int32_t m = 0; m < points; ++m) {
        const auto angle = static_cast<double>(static_cast<float>(m) * step);
        const float x = static_cast<float>(tables.center_x) + radius * static_cast<float>(std::cos(angle));
        const float y = static_cast<float>(tables.center_y) + radius * static_cast<float>(std::sin(angle));
        if (x < 0 || x >= static_cast<float>(field.width) || y < 0 || y > static_cast<float>(field.height)) {
            continue;
        }
        field.prefetch(x, y);
        ahead[waiting++] = {x, y};
        if (waiting == ahead.size()) {
            add_waiting();
        }
    }
    add_waiting();
    return sums;
}

/// All three are absolute and scaled alike.
Gains radial_gains(const CircleSums& sums, ShadingKind kind) {
    const auto mean = [&](float sum) { return add_half_and_truncate(sum / static_cast<float>(sums.count) * 512.0F); };
    Gains gains{mean(sums.red), mean(sums.green), mean(sums.blue)};
    const float headroom = std::max({excess(gains.red), excess(gains.green), excess(gains.blue)});
    gains = {scale_down(gains.red, headroom), scale_down(gains.green, headroom), scale_down(gains.blue, headroom)};
    if (kind == ShadingKind::chroma) {
        gains.green = kUnity;
    } else if (kind == ShadingKind::luma) {
        gains.red = gains.blue = gains.green;
    }
    return gains;
}

}  // namespace

void calibrate_mesh(const FlatField& field, const CentreSignal& centre, ShadingKind kind, NodeObserver& observer,
                    ShadingTables& tables, NodeSamples& samples) {
    const std::size_t nodes = static_cast<std::size_t>(tables.cols) * static_cast<std::size_t>(tables.rows);
    tables.mesh.fill(std::vector<int32_t>(nodes));
    samples.fill(std::vector<uint32_t>(nodes));
    const GridPlacement horizontal = place_grid(tables.cols, field.width);
    const GridPlacement vertical = place_grid(tables.rows, field.height);
    for (int32_t j = 1; j < tables.rows - 1; ++j) {
        for (int32_t i = 1; i < tables.cols - 1; ++i) {
            const PerChannel<float> sample =
                field.sample_at(node_position(i, horizontal, field.width), node_position(j, vertical, field.height));
            const Gains gains = mesh_gains(field.above_black(sample), centre, kind);
            const std::size_t node = node_index(tables, i, j);
            tables.mesh[0][node] = gains.red;
            tables.mesh[1][node] = gains.green;
            tables.mesh[2][node] = gains.blue;
            samples[0][node] = static_cast<uint32_t>(truncate(sample[RR]));
            samples[1][node] = static_cast<uint32_t>(truncate((sample[GB] + sample[GR]) * 0.5F));
            samples[2][node] = static_cast<uint32_t>(truncate(sample[BB]));
            if (std::min({gains.red, gains.green, gains.blue}) < kUnity) {
                observer.below_unity(i - 1, j - 1, gains, centre, sample);
            }
        }
    }
    lsc_extrapolate_border(tables);
}

void lsc_extrapolate_border(ShadingTables& tables) {
    const int32_t last_col = tables.cols - 1;
    const int32_t last_row = tables.rows - 1;
    for (std::vector<int32_t>& table : tables.mesh) {
        const auto node = [&](int32_t i, int32_t j) -> int32_t& { return table[node_index(tables, i, j)]; };
        /// From the two nodes inwards along (di, dj).
        const auto extrapolate = [&](int32_t i, int32_t j, int32_t di, int32_t dj) {
            const int32_t near = node(i + di, j + dj);
            const int32_t far = node(i + 2 * di, j + 2 * dj);
            node(i, j) = std::clamp(near - far + near, kLeastBorderGain, kLargestGain);
        };
        for (int32_t j = 1; j < last_row; ++j) {
            extrapolate(0, j, 1, 0);
            extrapolate(last_col, j, -1, 0);
        }
        for (int32_t i = 1; i < last_col; ++i) {
            extrapolate(i, 0, 0, 1);
            extrapolate(i, last_row, 0, -1);
        }
        extrapolate(0, 0, 1, 1);
        extrapolate(last_col, 0, -1, 1);
        extrapolate(0, last_row, 1, -1);
        extrapolate(last_col, last_row, -1, -1);
    }
}

void calibrate_radial(const FlatField& field, const CentreSignal& centre, ShadingKind kind, ShadingTables& tables) {
    const float farthest_squared = farthest_corner_squared(field.width, field.height, tables.center_x, tables.center_y);
    tables.norm = radial_norm(field.width, field.height, tables.center_x, tables.center_y);
    Gains gains{kUnity, kUnity, kUnity};
    for (std::size_t k = 0; k < kRadialEntries; ++k) {
        if (k > 0) {
            const auto entry = static_cast<float>(k);
            const CircleSums sums =
                sum_circle(field, centre, tables, std::sqrt(entry * entry / (961.0F / farthest_squared)));
            if (sums.count > 0) {
                gains = radial_gains(sums, kind);
            }
        }
        const std::array<int32_t, 4> entries = {gains.red, gains.green, gains.blue, gains.red};
        for (std::size_t table = 0; table < entries.size(); ++table) {
            tables.radial[table * kRadialEntries + k] = entries[table];
        }
    }
}

}  // namespace cali::lsc
