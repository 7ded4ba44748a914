#include "detection/chart_finder.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

#include "captures/read_capture.h"
#include "core/channel.h"
#include "simulation/chart_view.h"
#include "support/program.h"

namespace cali::test {
namespace {

using namespace cali::host;

struct Shown {
    PlacedChart truth;
    FoundChart found;
};

Shown look_for(const SensorModel& sensor, const ChartView& view) {
    Shown shown{place_chart(sensor, view), {}};
    Capture capture;
    capture.sensor = {sensor.width, sensor.height, sensor.pattern, sensor.bits, {}, false};
    const auto codes = expose(sensor, shown.truth.scene, view.seed, 0);
    capture.samples = host::Samples(codes.begin(), codes.end());
    BlackLevels black;
    std::ranges::transform(sensor.pedestal, black.offset.begin(),
                           [](double level) { return static_cast<uint32_t>(std::lround(level)); });
    shown.found = find_chart(capture, black);
    return shown;
}

/// Of the windows' middles from the patches', relative to the distance between patches; a window lies on whole cells.
double worst_offset(const Shown& shown) {
    const auto& centres = shown.truth.centres;
    double worst = 0;
    for (std::size_t i = 0; i < centres.size(); ++i) {
        const RoiRect& window = shown.found.windows[i];
        double pitch = 1e9;
        for (std::size_t k = 0; k < centres.size(); ++k) {
            pitch = k == i ? pitch
                           : std::min(pitch, std::hypot(centres[k][0] - centres[i][0], centres[k][1] - centres[i][1]));
        }
        const double dx = std::max(std::abs(window.x + window.w / 2.0 - centres[i][0]) - 1, 0.0);
        const double dy = std::max(std::abs(window.y + window.h / 2.0 - centres[i][1]) - 1, 0.0);
        worst = std::max(worst, std::hypot(dx, dy) / pitch);
    }
    return worst;
}

TEST(ChartFinder, FindsChartsAmongOtherThingsAndNothingElse) {
    int missed = 0;
    for (uint64_t seed = 5001; seed <= 5045; ++seed) {
        SCOPED_TRACE(seed);
        SensorModel sensor;
        ChartView view = random_view(seed, sensor);
        view.present = seed <= 5030;
        view.clutter.other_charts += view.present ? 0 : 1;
        const Shown shown = look_for(sensor, view);
        if (!view.present) {
            EXPECT_FALSE(shown.found.found) << shown.found.confidence;
            EXPECT_LT(shown.found.confidence, kLeastConfidence - 0.1);
            EXPECT_FALSE(shown.found.reason.empty());
        } else if (shown.found.found) {
            EXPECT_LE(worst_offset(shown), 0.08);
            EXPECT_GT(shown.found.confidence, kLeastConfidence + 0.1);
        } else {
            ++missed;
        }
    }
    EXPECT_LE(missed, 1);
}

TEST(ChartFinder, RefusesAMirroredChartByName) {
    SensorModel sensor;
    ChartView view = random_view(3, sensor);
    view.mirrored = true;
    const FoundChart found = look_for(sensor, view).found;
    EXPECT_FALSE(found.found);
    EXPECT_NE(found.reason.find("mirrored"), std::string::npos) << found.reason;
}

/// The capture as a sensor turned by a quarter clockwise sees it, or mirrored left to right.
Capture moved(const Capture& from, bool mirror) {
    Capture to = from;
    to.sensor.width = mirror ? from.sensor.width : from.sensor.height;
    to.sensor.height = mirror ? from.sensor.height : from.sensor.width;
    const auto source = [&](int x, int y) {
        return mirror ? std::pair(from.sensor.width - 1 - x, y) : std::pair(y, from.sensor.height - 1 - x);
    };
    for (int y = 0; y < to.sensor.height; ++y) {
        for (int x = 0; x < to.sensor.width; ++x) {
            const auto [i, j] = source(x, y);
            to.samples[static_cast<std::size_t>(y * to.sensor.width + x)] = from.view().row(j)[i];
            if (bayer_channel(from.sensor.pattern, static_cast<uint32_t>(j), static_cast<uint32_t>(i)) == RR && x < 2 &&
                y < 2) {
                constexpr std::array<int, 4> kPatternByRed = {3, 2, 1, 0};  // red at 0 0, 1 0, 0 1, 1 1
                to.sensor.pattern = kPatternByRed[static_cast<std::size_t>(2 * y + x)];
            }
        }
    }
    return to;
}

TEST(RealCaptures, ChartIsFoundInEveryQuarterTurnAndRefusedMirrored) {
    const auto data = real_captures();
    if (!data) {
        GTEST_SKIP() << "CALI_TEST_DATA does not name the folder of real captures";
    }
    Geometry geometry;
    geometry.width = 408;
    geometry.height = 342;
    geometry.pattern = 1;
    geometry.bits = 12;
    Capture capture = read_capture(*data / "chart24_base_408x342_12bits_GBRG.raw", geometry);
    std::vector<Point> patches;
    std::ifstream table(*data / "chart24_patches.csv");
    std::string line;
    for (std::getline(table, line); std::getline(table, line);) {
        std::ranges::replace(line, ',', ' ');
        line = line.substr(line.find_first_of("0123456789", line.find_last_of("abcdefghijklmnopqrstuvwxyz") + 1));
        std::istringstream numbers(line);
        double x = 0;
        double y = 0;
        numbers >> x;
        if (x < 12) {  // part of a name such as "neutral 6.5"
            numbers >> x;
        }
        numbers >> y;
        patches.push_back({x + 7, y + 7});
    }
    ASSERT_EQ(patches.size(), kChartPatches);

    EXPECT_NE(find_chart(moved(capture, true), {}).reason.find("mirrored"), std::string::npos);
    for (const char* orientation : {"upright", " clockwise", "turned by 1", " anticlockwise"}) {
        SCOPED_TRACE(orientation);
        const FoundChart found = find_chart(capture, {});
        ASSERT_TRUE(found.found) << found.reason;
        EXPECT_GT(found.confidence, 0.9);
        EXPECT_NE(found.orientation.find(orientation), std::string::npos) << found.orientation;
        // The table's own windows lie inside the patches, not in their middle.
        for (std::size_t i = 0; i < patches.size(); ++i) {
            const RoiRect& window = found.windows[i];
            EXPECT_LT(std::abs(window.x + window.w / 2.0 - patches[i].x), window.w / 2.0) << "patch " << i + 1;
            EXPECT_LT(std::abs(window.y + window.h / 2.0 - patches[i].y), window.h / 2.0) << "patch " << i + 1;
        }
        for (Point& patch : patches) {
            patch = {capture.sensor.height - patch.y, patch.x};
        }
        capture = moved(capture, false);
    }
}

}  // namespace
}  // namespace cali::test
