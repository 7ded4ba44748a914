#include "checks/flat_checks.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/text.h"
#include "calibrations/flatness.h"
#include "checks/window_statistics.h"
#include "core/channel.h"

namespace cali::host {
namespace {

constexpr int kSpotCols = 80;           ///< blocks across the width that spots are looked for in
constexpr int kReach = 3;               ///< blocks from one to its inner neighbours; twice that to the outer ones
constexpr double kNoiseDeviations = 5;  ///< the largest of some thousand residuals by noise alone
constexpr double kLeastGreen = 20;      ///< codes of a block above black; what is darker is left out
constexpr int kLeastWidth = 640;        ///< of frames whose residual behind the mesh is judged
constexpr int kLeastHeight = 480;
constexpr int kLargestNode = 4095;  ///< of the mesh's gain registers

uint32_t black_of(Channel channel, const BlackLevels& black_level) {
    return black_level.offset[static_cast<std::size_t>(RR - channel)];
}

/// Green above black in blocks.
struct GreenBlocks {
    int side = 2;
    int cols = 0;
    int rows = 0;
    std::vector<double> mean;

    [[nodiscard]] double at(int col, int row) const {
        return mean[static_cast<std::size_t>(row) * static_cast<std::size_t>(cols) + static_cast<std::size_t>(col)];
    }
};

struct FieldSums {
    GreenBlocks green;
    double clipped = 0;  ///< shares of the samples
    double dark = 0;
};

/// What a green sample adds to its block's mean, by its code.
class GreenShares {
public:
    GreenShares(uint32_t black, double greens) : black_(black), greens_(greens), known_(kLibraryFullScale + 1) {
        for (uint32_t code = 0; code <= kLibraryFullScale; ++code) {
            known_[code] = share(code);
        }
    }
    [[nodiscard]] double of(uint32_t code) const { return code <= kLibraryFullScale ? known_[code] : share(code); }

private:
    [[nodiscard]] double share(uint32_t code) const {
        return (static_cast<double>(code) - static_cast<double>(black_)) / greens_;
    }

    uint32_t black_;
    double greens_;
    std::vector<double> known_;
};

FieldSums walk(const Capture& flat, const BlackLevels& black_level) {
    const ConstRawFrame frame = flat.view();
    const uint32_t full_scale = full_scale_code(flat.sensor);
    FieldSums sums;
    GreenBlocks& green = sums.green;
    green.side = std::max(4, frame.width / kSpotCols & ~1);
    green.cols = frame.width / green.side;
    green.rows = frame.height / green.side;
    green.mean.resize(static_cast<std::size_t>(green.cols) * static_cast<std::size_t>(green.rows));
    const double greens = green.side * green.side / 2.0;
    const GreenShares shares[] = {{black_of(GR, black_level), greens}, {black_of(GB, black_level), greens}};
    for (int y = 0; y < frame.height; ++y) {
        const uint32_t* const row = frame.row(y);
        const std::array channels = {bayer_channel(frame.pattern, static_cast<uint32_t>(y), 0),
                                     bayer_channel(frame.pattern, static_cast<uint32_t>(y), 1)};
        uint32_t clipped = 0;
        uint32_t dark = 0;
        for (int parity = 0; parity < 2; ++parity) {
            const uint32_t black = black_of(channels[static_cast<std::size_t>(parity)], black_level);
            for (int x = parity; x < frame.width; x += 2) {
                clipped += row[x] >= full_scale ? 1 : 0;
                dark += row[x] <= black ? 1 : 0;
            }
        }
        sums.clipped += clipped;
        sums.dark += dark;
        if (y / green.side >= green.rows) {
            continue;
        }
        const int first = colour_of(channels[0]) == 1 ? 0 : 1;
        const GreenShares& share = shares[channels[static_cast<std::size_t>(first)] == GR ? 0 : 1];
        double* const means =
            green.mean.data() + static_cast<std::size_t>(y / green.side) * static_cast<std::size_t>(green.cols);
        for (int col = 0; col < green.cols; ++col) {
            double mean = means[col];
            for (int x = col * green.side + first; x < (col + 1) * green.side; x += 2) {
                mean += share.of(row[x]);
            }
            means[col] = mean;
        }
    }
    sums.clipped /= static_cast<double>(frame.size());
    sums.dark /= static_cast<double>(frame.size());
    return sums;
}

/// Share by which the light falls between opposite edges: a lens darkens them alike, a lamp at the side does not.
double tilt_of(const BlockMeans& means) {
    double left = 0;
    double right = 0;
    double top = 0;
    double bottom = 0;
    for (int row = 0; row < means.rows; ++row) {
        left += means.at(0, row)[1];
        right += means.at(means.cols - 1, row)[1];
    }
    for (int col = 0; col < means.cols; ++col) {
        top += means.at(col, 0)[1];
        bottom += means.at(col, means.rows - 1)[1];
    }
    const auto fall = [](double a, double b) { return 1 - std::min(a, b) / std::max({a, b, 1.0}); };
    return std::hypot(fall(left, right), fall(top, bottom));
}

struct Spot {
    double residual = 0;  ///< share of the light around it
    int col = 0;
    int row = 0;
};

/// The block farthest off the parabola through its neighbours along a row or column of blocks, which follows a lens but
/// not what is smaller than the reach.
Spot worst_spot(const GreenBlocks& green) {
    Spot worst;
    std::vector<double> residuals;
    const auto look = [&](int col, int row, int right, int down) {
        const int last = 2 * kReach;
        if (col - last * right < 0 || col + last * right >= green.cols || row - last * down < 0 ||
            row + last * down >= green.rows) {
            return;
        }
        const auto pair = [&](int distance) {
            return green.at(col - distance * right, row - distance * down) +
                   green.at(col + distance * right, row + distance * down);
        };
        const double expected = (4 * pair(kReach) - pair(2 * kReach)) / 6;
        if (expected < kLeastGreen) {
            return;
        }
        const double residual = std::abs(green.at(col, row) / expected - 1);
        residuals.push_back(residual);
        if (residual > worst.residual) {
            worst = {residual, col, row};
        }
    };
    for (int row = 0; row < green.rows; ++row) {
        for (int col = 0; col < green.cols; ++col) {
            look(col, row, 1, 0);
            look(col, row, 0, 1);
        }
    }
    if (residuals.empty()) {
        return worst;
    }
    const auto deviation =
        residuals.begin() + static_cast<std::ptrdiff_t>(0.6827 * static_cast<double>(residuals.size()));
    std::ranges::nth_element(residuals, deviation);
    worst.residual = beyond_noise(worst.residual, kNoiseDeviations * *deviation);
    return worst;
}

}  // namespace

void check_flat(const Capture& flat, const BlackLevels& black_level, Judge& judge) {
    const FieldSums sums = walk(flat, black_level);
    judge.hold(Check::flat_clipped, sums.clipped * 100);
    judge.hold(Check::flat_dark, sums.dark * 100);
    const BlockMeans means = block_means(flat.view(), black_level.offset);
    if (judge.hold(Check::flat_level, means.centre()[1]) == Severity::fail) {
        return;
    }
    judge.hold(Check::flat_tilt, tilt_of(means) * 100);
    const GreenBlocks& green = sums.green;
    const Spot spot = worst_spot(green);
    judge.hold(Check::flat_dust, spot.residual * 100,
               spot.residual > 0 ? text("column %d, row %d", spot.col * green.side + green.side / 2,
                                        spot.row * green.side + green.side / 2)
                                 : "");
}

void check_flattened(const LensShading& shading, const SensorGeometry& sensor, Judge& judge) {
    if (sensor.width >= kLeastWidth && sensor.height >= kLeastHeight) {
        const Flatness& after = shading.after_mesh;
        // Chroma gains leave the light's fall to the lens.
        if (shading.settings.type != ShadingType::chroma) {
            judge.hold(Check::flat_residual_rms, after.luminance_rms * 100);
            judge.hold(Check::flat_residual_worst, after.worst_luminance * 100);
        } else {
            judge.hold(Check::flat_residual_worst, after.worst_colour_shift * 100, "colour");
        }
    }
    double worst = 0;
    std::size_t colour = 1;
    for (std::size_t c = 0; c < shading.tables.mesh.size(); ++c) {
        const auto& nodes = shading.tables.mesh[c];
        const auto at_limit =
            static_cast<double>(std::ranges::count_if(nodes, [](int32_t node) { return node >= kLargestNode; }));
        if (const double share = at_limit / static_cast<double>(nodes.size()); share > worst) {
            worst = share;
            colour = c;
        }
    }
    judge.hold(Check::flat_gain_limit, worst * 100, kColourKeys[colour]);
}

}  // namespace cali::host
