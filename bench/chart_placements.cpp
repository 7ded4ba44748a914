// Finds charts in simulated frames and counts what is right and wrong; then times a large frame.
// Arguments: number of frames with a chart, without one, and optionally a scene of 768 x 512, RGGB, 14 bits as backdrop
// of every second frame, the first frame's number and the step to the next.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "detection/chart_finder.h"
#include "simulation/chart_view.h"

namespace {

using namespace cali::host;

Backdrop read_backdrop(const std::string& file) {
    constexpr int kWidth = 768;
    constexpr int kHeight = 512;
    constexpr double kBlack = 600;
    constexpr double kWhite = 15520;
    std::vector<uint16_t> codes(std::size_t{kWidth} * kHeight);
    std::ifstream stream(file, std::ios::binary);
    stream.read(reinterpret_cast<char*>(codes.data()), static_cast<std::streamsize>(codes.size() * 2));
    if (!stream) {
        std::fprintf(stderr, "%s: cannot be read as a scene\n", file.c_str());
        std::exit(2);
    }
    Backdrop backdrop{kWidth / 2, kHeight / 2, {}};
    for (int y = 0; y < kHeight; y += 2) {
        for (int x = 0; x < kWidth; x += 2) {
            const auto at = [&](int i, int j) {
                return (codes[static_cast<std::size_t>((y + j) * kWidth + x + i)] - kBlack) / (kWhite - kBlack);
            };
            backdrop.colours.push_back(
                {std::max(at(0, 0), 0.0), std::max((at(1, 0) + at(0, 1)) / 2, 0.0), std::max(at(1, 1), 0.0)});
        }
    }
    return backdrop;
}

Capture capture_of(const SensorModel& sensor, const Scene& scene, uint64_t seed) {
    Capture capture;
    capture.sensor = {sensor.width, sensor.height, sensor.pattern, sensor.bits, {}, false};
    const auto codes = expose(sensor, scene, seed, 0);
    capture.samples = Samples(codes.begin(), codes.end());
    return capture;
}

BlackLevels black_of(const SensorModel& sensor) {
    BlackLevels black;
    for (std::size_t c = 0; c < sensor.pedestal.size(); ++c) {
        black.offset[c] = static_cast<uint32_t>(std::lround(sensor.pedestal[c]));
    }
    return black;
}

/// The largest distance of a patch's centre from where it is, relative to the distance to its nearest neighbour.
double worst_offset(const FoundChart& found, const PlacedChart& truth) {
    const ChartMap map(found.corners);
    double worst = 0;
    for (std::size_t i = 0; i < truth.centres.size(); ++i) {
        const Point p = map(static_cast<double>(i % 6) + 0.5, static_cast<double>(i / 6) + 0.5);
        double pitch = 1e9;
        for (std::size_t k = 0; k < truth.centres.size(); ++k) {
            if (k != i) {
                pitch = std::min(pitch, std::hypot(truth.centres[k][0] - truth.centres[i][0],
                                                   truth.centres[k][1] - truth.centres[i][1]));
            }
        }
        const double off = std::hypot(p.x - truth.centres[i][0], p.y - truth.centres[i][1]) / pitch;
        worst = std::max(worst, std::isfinite(off) ? off : 1e9);
    }
    return worst;
}

}  // namespace

int main(int argc, char** argv) {
    const int with = argc > 1 ? std::atoi(argv[1]) : 400;
    const int without = argc > 2 ? std::atoi(argv[2]) : 200;
    const Backdrop backdrop = argc > 3 && argv[3][0] != 0 ? read_backdrop(argv[3]) : Backdrop{};
    const uint64_t first = argc > 4 ? static_cast<uint64_t>(std::atoi(argv[4])) : 1;
    const uint64_t stride = argc > 5 ? static_cast<uint64_t>(std::atoi(argv[5])) : 1;
    int found_right = 0;
    int wrong = 0;
    double least_right = 1;
    double most_wrong = 0;
    std::vector<double> offsets;
    double milliseconds = 0;
    for (int n = 0; n < with + without; ++n) {
        SensorModel sensor;
        const uint64_t seed = first + static_cast<uint64_t>(n) * stride;
        ChartView view = random_view(seed, sensor);
        view.present = n < with;
        view.backdrop = backdrop.width > 0 && seed % 2 == 1 ? &backdrop : nullptr;
        if (!view.present) {
            view.clutter.other_charts = 1 + n % 4;
        }
        const PlacedChart placed = place_chart(sensor, view);
        const Capture capture = capture_of(sensor, placed.scene, seed);
        const auto start = std::chrono::steady_clock::now();
        const FoundChart found = find_chart(capture, black_of(sensor));
        milliseconds += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        const double off = view.present && found.confidence > 0 ? worst_offset(found, placed) : 1e9;
        const bool right = view.present && off <= 0.08;
        if (found.found && right) {
            ++found_right;
            offsets.push_back(off);
            least_right = std::min(least_right, found.confidence);
        } else {
            wrong += found.found ? 1 : 0;
            if (!right) {
                most_wrong = std::max(most_wrong, found.confidence);
            }
        }
        if (found.found != view.present || (found.found && !right) ||
            (right && (found.confidence < 0.75 || off > 0.045)) || (!right && found.confidence > 0.2)) {
            std::printf(
                "%llu: %s confidence %.2f off %.3f residual %.3f other %.3f edges %.2f flat %.2f | %dx%d level %.2f "
                "gap %.2f "
                "blur %.1f patch %.0f height %.2f distortion %.3f regions %zu | %s\n",
                static_cast<unsigned long long>(seed),
                view.present ? (found.found ? (right ? "right" : "WRONG") : "missed")
                             : (found.found ? "FALSE" : "none"),
                found.confidence, std::min(off, 9.0), found.colour_residual, found.other_order, found.edge_support,
                found.flat_share, sensor.width, sensor.height, view.level, view.gap, view.blur, placed.least_patch,
                view.height, view.distortion, found.tried.size(), found.reason.c_str());
        }
    }
    std::ranges::sort(offsets);
    const auto quantile = [&](double share) {
        return offsets.empty() ? 0 : offsets[static_cast<std::size_t>(share * static_cast<double>(offsets.size() - 1))];
    };
    std::printf(
        "with a chart: %d of %d found, %d wrong; centres off by %.3f (median), %.3f (95 %%), %.3f (worst) of the "
        "distance between patches\nlowest confidence of a right one %.2f, highest of a wrong one %.2f; %.0f ms each\n",
        found_right, with, wrong, quantile(0.5), quantile(0.95), quantile(1), least_right, most_wrong,
        milliseconds / std::max(with + without, 1));
    SensorModel sensor;
    ChartView view = random_view(5, sensor);
    sensor.width = 4000;
    sensor.height = 3000;
    const PlacedChart placed = place_chart(sensor, view);
    const Capture capture = capture_of(sensor, placed.scene, 1);
    std::vector<double> times;
    bool seen = false;
    for (int i = 0; i < 9; ++i) {
        const auto start = std::chrono::steady_clock::now();
        seen = find_chart(capture, black_of(sensor)).found;
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::ranges::sort(times);
    std::printf("4000 x 3000: %s, %.0f ms (median), %.0f ms (least)\n", seen ? "found" : "not found", times[4],
                times[0]);
}
