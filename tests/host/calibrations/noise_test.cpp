// Noise held against the simulated sensor and against the exports on whole lists.

#include "calibrations/noise.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/error.h"
#include "cali/cali.h"
#include "captures/raw_file.h"
#include "captures/read_capture.h"
#include "core/channel.h"
#include "simulation/sensor.h"
#include "support/program.h"

namespace cali::test {
namespace {

constexpr int kWidth = 640;
constexpr int kHeight = 600;

/// A series on files, four frames a level; GBRG.
class NoiseSeries : public ::testing::Test {
protected:
    NoiseSeries() {
        sensor_.width = kWidth;
        sensor_.height = kHeight;
        sensor_.pattern = 1;
        sensor_.read_noise = 8;
        black_.offset = {64, 66, 65, 63};
        for (uint32_t level = 0; level < 6; ++level) {
            host::SeriesLevel& files = levels_.emplace_back();
            host::Scene scene = host::uniform_scene(sensor_, 5000, 0.05 + 0.16 * level);
            scene.shaded = false;
            for (uint32_t k = 0; k < 4; ++k) {
                const auto samples = host::expose(sensor_, scene, 1, level * 4 + k);
                files.files.push_back(folder_ / (std::to_string(level) + "_" + std::to_string(k) + ".raw"));
                host::write_raw(files.files.back(), samples);
                frames_.emplace_back(samples.begin(), samples.end());
            }
        }
    }

    host::NoiseResults measure(const host::NoiseSettings& settings) {
        return calibrate_noise(
            {levels_, geometry_,
             [this](const host::CaptureEntry& entry) { return read_capture(entry.file(), geometry_); }},
            black_, settings, {}, [](std::size_t, const host::Capture&, const host::Window&) {}, found_);
    }

    host::Geometry geometry_{kWidth, kHeight, 1, 12, "the test"};
    host::SensorModel sensor_;
    host::BlackLevels black_;
    std::vector<host::SeriesLevel> levels_;
    std::vector<std::vector<uint32_t>> frames_;
    host::SensorGeometry found_;
    TemporaryFolder folder_;
};

TEST_F(NoiseSeries, RecoversTheSimulatedSensorWithTheBitsOfTheExports) {
    const host::NoiseResults results = measure({});
    EXPECT_EQ(found_.width, kWidth);
    EXPECT_EQ((std::array{results.window.x, results.window.y, results.window.width, results.window.height}),
              (std::array{56, 52, 528, 494}));
    EXPECT_LE(sum_rounding(results.levels.back(), results.window), host::kMostSumRounding);
    for (std::size_t c = 0; c < 4; ++c) {
        SCOPED_TRACE(host::kChannelKeys[c]);
        EXPECT_NEAR(results.variance[c].slope, 0.25, 0.0035);
        EXPECT_NEAR(std::sqrt(results.variance[c].intercept), 8, 0.5);
        // A straight line through deviations is the poorer model of shot noise.
        EXPECT_LT(results.variance[c].residual, 0.01);
        EXPECT_GT(results.deviation[c].residual, 0.02);
        // Noise at the reference level in the registers' formats, U4.12 and U10.0.
        const host::NoiseLine& line = results.deviation[c];
        EXPECT_EQ(results.registers[c].slope, static_cast<int>(line.slope * 4096));
        EXPECT_EQ(results.registers[c].level, static_cast<int>(1024 * line.slope + line.intercept));
    }
    // Of luma, whose channels share their noise: 0.299 R + 0.587 (GR + GB) / 2 + 0.114 B.
    const double share = std::sqrt(0.299 * 0.299 + 0.587 * 0.587 + 0.114 * 0.114);
    EXPECT_NEAR(results.luma_registers.level, share * results.registers[host::kGR].level, 1);

    // The same frames in one list through the export: the same bits.
    const host::Window& window = results.window;
    std::vector<std::vector<uint32_t*>> pointers(levels_.size());
    std::vector<std::vector<uint32_t>> centres;
    for (const auto& frame : frames_) {
        auto& centre = centres.emplace_back();
        for (int y = window.y; y < window.y + window.height; ++y) {
            const auto* const row = frame.data() + y * kWidth + window.x;
            centre.insert(centre.end(), row, row + window.width);
        }
    }
    for (std::size_t i = 0; i < centres.size(); ++i) {
        pointers[i / 4].push_back(centres[i].data());
    }
    const LevelListOwner list(pointers);
    std::array<uint32_t, 8> bits{};
    const auto& black = black_.offset;
    ASSERT_EQ(
        cali_isp_np_float_calc(list.get(), static_cast<uint32_t>(window.width), static_cast<uint32_t>(window.height), 6,
                               4, 1, black[host::kBB], black[host::kGB], black[host::kGR], 0, &bits[0], &bits[1],
                               &bits[2], &bits[3], &bits[4], &bits[5], &bits[6], &bits[7]),
        0);
    for (std::size_t c = 0; c < 4; ++c) {
        EXPECT_EQ(std::bit_cast<uint32_t>(results.deviation[3 - c].slope), bits[2 * c]) << c;
        EXPECT_EQ(std::bit_cast<uint32_t>(results.deviation[3 - c].intercept), bits[2 * c + 1]) << c;
    }

    // Lines that would go below nothing end there.
    host::NoiseResults below = results;
    below.deviation.fill({{0, -1}, 0});
    below.variance.fill({{0, -1}, 0});
    const host::Section section = host::describe(below);
    for (const host::Series& series : section.plots.front().series) {
        for (const auto& point : series.points) {
            EXPECT_EQ(point[1] > 0, series.kind == host::Series::Kind::points) << series.name;
        }
    }
}

TEST_F(NoiseSeries, SettingsTakeEffect) {
    const host::NoiseResults plain = measure({});
    const host::NoiseResults set = measure({host::Window{0, 0, 64, 64}, 300, "U2.10", "U9.0"});
    EXPECT_EQ(set.window.width, 64);
    EXPECT_EQ(set.registers[0].slope, static_cast<int>(set.deviation[0].slope * 1024));
    EXPECT_LT(set.registers[0].level, plain.registers[0].level);
    // The whole frame is too much for single precision: said.
    const host::NoiseResults whole = measure({host::Window{0, 0, kWidth, kHeight}, 1024, "U4.12", "U10.0"});
    EXPECT_GT(sum_rounding(whole.levels.back(), whole.window), host::kMostSumRounding);
}

}  // namespace
}  // namespace cali::test
