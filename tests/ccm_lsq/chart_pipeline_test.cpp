// The exports that take a raw frame of a chart, against whole frames through plain stages.

#include <algorithm>

#include "cali/cali.h"
#include "support/chart_support.h"

namespace cali::test {
namespace {

using reference::Samples;

struct Turn {
    Geometry geometry;
    OwnedFrame frame;
    reference::Grids grids;
    reference::BlackLevelArguments black;
    std::vector<RoiRect> windows;
    bool default_windows;
    std::vector<float> weights;
};

Turn random_turn(Random& random, int turn) {
    const Geometry geometry{48 + static_cast<int32_t>(random() % 80), 40 + static_cast<int32_t>(random() % 60),
                            turn % 4};
    const bool default_windows = turn % 3 == 0;
    Turn result{geometry,
                chart_frame(random, geometry, 3000),
                plausible_grids(random, 4 + turn % 5, 5),
                {{60, 64, 65, 63}, {1.01F, 1.02F, 1.0F, 1.03F}},
                default_windows ? full_frame_windows(geometry) : random_windows(random, geometry),
                default_windows,
                std::vector<float>(24, 1.0F)};
    std::ranges::generate(result.weights, [&] { return 0.5F + static_cast<float>(random() % 8) / 4.0F; });
    return result;
}

reference::PatchMeans as_floats(const reference::Patches& means) {
    reference::PatchMeans narrowed;
    for (const auto& mean : means) {
        narrowed.push_back({static_cast<float>(mean[0]), static_cast<float>(mean[1]), static_cast<float>(mean[2])});
    }
    return narrowed;
}

void expect_picture(bool written, const Samples& frame, const Geometry& geometry) {
    ASSERT_EQ(read_file("raw2rgb.ppm"), written ? raw_picture(frame, geometry) : "");
}

TEST(ChartPipeline, FirstGenerationMatchesPlainStages) {
    const SavedModuleState saved;
    Random random(83);
    for (int i = 0; i < 40; ++i) {
        const Turn turn = random_turn(random, i);
        const int32_t width = turn.geometry.width;
        const int32_t height = turn.geometry.height;
        const int32_t pattern = turn.geometry.pattern;
        SCOPED_TRACE(::testing::Message() << turn.geometry << ", turn " << i);
        const bool joint = i % 2 == 0;
        const bool dump = i % 4 < 2;
        module_state().debug.ccm_dump = dump;
        std::string printed;
        const Samples shaded =
            reference::mesh_shading(reference::black_level(turn.frame.samples, width, height, pattern, turn.black),
                                    width, height, pattern, turn.grids, printed);
        std::array<uint16_t, 3> gains = {1800, 1024, 1500};
        if (joint) {
            std::array<double, 3> grey{};
            const auto means = window_means(shaded, turn.geometry, turn.windows);
            for (std::size_t c = 0; c < 3; ++c) {
                for (std::size_t patch = 19; patch < 23; ++patch) {
                    grey[c] += means[patch][c] * 4095.0;
                }
            }
            const auto gain = [&](std::size_t c) {
                const float ratio = static_cast<float>(grey[1] / 4) / static_cast<float>(grey[c] / 4);
                return static_cast<uint16_t>(ratio * 1024.0F + 0.5F);
            };
            gains = {gain(0), 1024, gain(2)};
        }
        const Samples balanced = reference::wb_gains(shaded, width, height, pattern, gains[0], gains[2]);
        const auto expected =
            reference::fit_matrix(as_floats(window_means(balanced, turn.geometry, turn.windows)), turn.weights, 1.0F);
        on_every_isa([&] {
            const TemporaryDirectory directory;
            OwnedFrame frame = turn.frame;
            uint32_t* samples = frame.samples.data();
            std::array<float, 9> ccm{};
            std::array<int32_t, 9> q10{};
            std::array<uint16_t, 3> found = gains;
            const RoiRect* windows = turn.default_windows ? nullptr : turn.windows.data();
            const auto& [offset, gain] = turn.black;
            CapturedOutput output;
            if (joint) {
                ASSERT_EQ(
                    cali_isp_awb_ccm(&samples, width, height, pattern, turn.grids.cols, turn.grids.rows,
                                     turn.grids.red.data(), turn.grids.green.data(), turn.grids.blue.data(), offset[0],
                                     offset[1], offset[2], offset[3], gain[0], gain[1], gain[2], gain[3], windows, 1.0F,
                                     turn.weights.data(), &found[0], &found[1], &found[2], ccm.data(), q10.data()),
                    0);
            } else {
                ASSERT_EQ(cali_isp_ccm_pipe_calc(&samples, width, height, pattern, turn.grids.cols, turn.grids.rows,
                                                 turn.grids.red.data(), turn.grids.green.data(), turn.grids.blue.data(),
                                                 offset[0], offset[1], offset[2], offset[3], gain[0], gain[1], gain[2],
                                                 gain[3], gains[0], 7, gains[2], windows, 1.0F, turn.weights.data(),
                                                 ccm.data(), q10.data()),
                          0);
            }
            ASSERT_EQ(output.take(), printed + (dump ? "output ppm to raw2rgb.ppm\n" : ""));
            ASSERT_EQ(found, gains);
            ASSERT_TRUE(same_bits(expected.ccm, ccm));
            ASSERT_TRUE(same_bits(expected.q10, q10));
            ASSERT_EQ(frame.samples, turn.frame.samples);
            expect_picture(dump, balanced, turn.geometry);
        });
    }
}

/// Tables of the optimised export.
CcmLensShading shading_record(Random& random, int32_t mode, const reference::Grids& grids) {
    CcmLensShading record{};
    record.mode = mode;
    record.grid_cols = grids.cols;
    record.grid_rows = grids.rows;
    std::ranges::copy(grids.red, record.red_grid);
    std::ranges::copy(grids.green, record.green_grid);
    std::ranges::copy(grids.blue, record.blue_grid);
    record.center_x = static_cast<int32_t>(random() % 60);
    record.center_y = static_cast<int32_t>(random() % 60);
    for (int32_t k = 0; k < 128; ++k) {
        record.radial_tables[k] = 512 + k % 32 * 4;
    }
    return record;
}

TEST(ChartPipeline, OptimisedMatchesPlainStagesAndFit) {
    const SavedModuleState saved;
    Random random(84);
    for (int i = 0; i < 24; ++i) {
        const Turn turn = random_turn(random, i);
        const int32_t width = turn.geometry.width;
        const int32_t height = turn.geometry.height;
        const int32_t pattern = turn.geometry.pattern;
        const int32_t mode = i % 4;
        const bool held = i % 9 == 8;
        const bool dump = i % 5 == 0;
        SCOPED_TRACE(::testing::Message() << turn.geometry << ", mode " << mode << ", turn " << i);
        const CcmLensShading shading = shading_record(random, mode, turn.grids);
        const std::array<int64_t, 2> gains = {i % 6 == 0 ? 0 : 1700, 1400};
        module_state().debug.ccm_dump = dump;

        std::string printed;
        Samples expected_frame = reference::wb_gains(
            reference::black_level(turn.frame.samples, width, height, pattern, turn.black), width, height, pattern,
            gains[0] == 0 ? 1024 : static_cast<uint32_t>(gains[0]), static_cast<uint32_t>(gains[1]));
        if (!held && mode % 2 == 1) {
            expected_frame = reference::mesh_shading(expected_frame, width, height, pattern, turn.grids, printed);
        }
        if (!held && mode >= 2) {
            const std::vector<int32_t> tables(std::begin(shading.radial_tables), std::end(shading.radial_tables));
            expected_frame = reference::radial_block(
                reference::radial_registers(width, height, pattern, shading.center_x, shading.center_y, tables),
                expected_frame);
        }
        reference::Problem problem;
        problem.linear_rgb = window_means(expected_frame, turn.geometry, turn.windows);
        problem.selector = i % 2 == 0 ? 65 : 50;
        problem.weights = turn.weights;
        for (const auto& encoded : reference::chart_srgb()) {
            problem.reference_lab.push_back({encoded[0], encoded[1], encoded[2]});
        }
        problem.reference_lab = reference::lab_from_srgb(problem.reference_lab, problem.selector);
        std::vector<uint32_t> gamma(1 + random() % 400);
        for (std::size_t k = 0; k < gamma.size(); ++k) {
            gamma[k] = static_cast<uint32_t>(4095 * (k + 1) / gamma.size());
        }
        std::vector<uint32_t> identity(4096);
        std::ranges::generate(identity, [code = 0U]() mutable { return code++; });
        const bool with_curves = i % 3 == 1;
        problem.first_curve = with_curves ? gamma : identity;
        problem.second_curve = identity;
        const float saturation = i % 2 == 0 ? 1.0F : 1.2F;
        const auto expected = reference::optimise(problem, saturation);

        on_every_isa([&] {
            const TemporaryDirectory directory;
            OwnedFrame frame = turn.frame;
            CcmPreprocess preprocess{};
            for (std::size_t c = 0; c < 4; ++c) {
                preprocess.offset[c] = static_cast<int32_t>(turn.black.offset[c]);
                preprocess.gain[c] = turn.black.gain[c];
            }
            std::vector<float> saturation_and_weights = {saturation};
            saturation_and_weights.insert(saturation_and_weights.end(), turn.weights.begin(), turn.weights.end());
            const CcmToneCurves curves{gamma.data(), static_cast<uint32_t>(gamma.size()), identity.data(), 4096};
            std::array<float, 9> ccm{};
            std::array<int32_t, 9> q10{};
            CapturedOutput output;
            ASSERT_EQ(
                cali_isp_ccm_pipe_calc_v2(frame.samples.data(), 9, turn.default_windows ? nullptr : turn.windows.data(),
                                          with_curves ? &curves : nullptr, width, height, pattern, &preprocess,
                                          &shading, gains[0], gains[1], saturation_and_weights.data(), 9, ccm.data(),
                                          q10.data(), problem.selector, held ? 1 : 0),
                expected.result);
            const std::string picture = dump ? "output ppm to raw2rgb.ppm\n" : "";
            ASSERT_EQ(output.take(), printed + picture + expected.printed);
            ASSERT_TRUE(same_bits(expected.matrix.ccm, ccm));
            ASSERT_TRUE(same_bits(expected.matrix.q10, q10));
            ASSERT_EQ(frame.samples, turn.frame.samples);
            expect_picture(dump, expected_frame, turn.geometry);
        });
    }
}

}  // namespace
}  // namespace cali::test
