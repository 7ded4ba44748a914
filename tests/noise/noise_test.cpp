#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "cali/cali.h"
#include "reference/noise.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

reference::Series random_series(Random& random, std::size_t levels, std::size_t frames, std::size_t size,
                                uint32_t brightest) {
    reference::Series series(levels, std::vector<reference::Samples>(frames));
    for (std::size_t k = 0; k < levels; ++k) {
        const auto base = static_cast<uint32_t>(brightest / levels * k);
        for (auto& frame : series[k]) {
            frame = random_samples(random, size, base, base + brightest / 8);
        }
    }
    return series;
}

TEST(NoiseStatistics, MatchThePlainSums) {
    Random random(100);
    for (int turn = 0; turn < 150; ++turn) {
        // The last ones are large or bright enough that every addition rounds.
        const bool rounding = turn >= 140;
        const uint32_t width =
            rounding ? 300 + static_cast<uint32_t>(random()) % 9 : 1 + static_cast<uint32_t>(random()) % 40;
        const uint32_t height = rounding ? 240 : 1 + static_cast<uint32_t>(random()) % 20;
        const std::array<uint32_t, 4> kBrightest = {4095, 70000, 1U << 30U, 0xF0000000U};
        const auto series = random_series(random, 1 + random() % 9, 1 + random() % 3, std::size_t{width} * height,
                                          rounding ? 4095 : kBrightest[static_cast<std::size_t>(turn % 4)]);
        const int nch = turn % 7 == 0 ? 6 : 4;
        SCOPED_TRACE(::testing::Message() << width << " x " << height << ", turn " << turn);
        for (const bool variance : {false, true}) {
            const auto expected = variance ? reference::mean_and_variance(series, width, height, nch)
                                           : reference::mean_and_deviation(series, width, height, nch);
            SeriesCall call(series, width, height);
            const auto levels = static_cast<std::size_t>(call.count());
            auto means = std::vector<std::vector<float>>(static_cast<std::size_t>(nch), std::vector<float>(levels, 7));
            auto spreads = means;
            std::vector<float*> mean_pointers;
            std::vector<float*> spread_pointers;
            for (std::size_t c = 0; c < means.size(); ++c) {
                mean_pointers.push_back(means[c].data());
                spread_pointers.push_back(spreads[c].data());
            }
            const auto measure = variance ? cali_isp_roi_mean_var_calc : cali_isp_roi_mean_std_calc;
            ASSERT_EQ(measure(call.list, width, height, call.count(), nch, call.nframes(), mean_pointers.data(),
                              spread_pointers.data()),
                      0);
            EXPECT_EQ(call.releases, 1);
            for (std::size_t c = 0; c < means.size(); ++c) {
                ASSERT_TRUE(same_bits(expected.mean[c], means[c])) << c;
                ASSERT_TRUE(same_bits(expected.spread[c], spreads[c])) << c;
            }
            ASSERT_EQ(call.series, series);
        }
    }
}

TEST(NoiseProfile, MatchesThePlainFit) {
    Random random(101);
    for (int turn = 0; turn < 80; ++turn) {
        const uint32_t width = 2 + static_cast<uint32_t>(random()) % 40;
        const uint32_t height = 2 + static_cast<uint32_t>(random()) % 20;
        SCOPED_TRACE(::testing::Message() << width << " x " << height << ", turn " << turn);
        const auto series = random_series(random, 1 + random() % 8, 1 + random() % 3, std::size_t{width} * height,
                                          turn % 5 == 0 ? 0xF0000000U : 4400);
        const int pattern = turn % 4;
        const std::array<uint32_t, 3> black = {60, 64, turn % 9 == 0 ? 0xFFFFFF00U : 70};
        const int32_t ref_level = 1000;
        for (const int method : {0, 1, 2}) {
            reference::Series expected_series = series;
            const auto lines = reference::noise_profile(expected_series, width, height, pattern, black[0], black[1],
                                                        black[2], method == 1);
            on_every_isa([&] {
                SeriesCall call(series, width, height);
                std::array<uint32_t, 4> slope{};
                std::array<uint32_t, 4> intercept{};
                std::array<int32_t, 4> slope_fix{};
                std::array<int32_t, 4> level_fix{};
                if (method == 2) {
                    ASSERT_EQ(cali_isp_np_fix_calc(&call.list, width, height, call.count(), call.nframes(), pattern,
                                                   black[0], black[1], black[2], ref_level, "U4.12,U8.0", &slope_fix[0],
                                                   &level_fix[0], &slope_fix[1], &level_fix[1], &slope_fix[2],
                                                   &level_fix[2], &slope_fix[3], &level_fix[3]),
                              0);
                } else {
                    const auto fit = method == 1 ? cali_isp_np_float_calc_ainr : cali_isp_np_float_calc;
                    ASSERT_EQ(fit(&call.list, width, height, call.count(), call.nframes(), pattern, black[0], black[1],
                                  black[2], 9, &slope[0], &intercept[0], &slope[1], &intercept[1], &slope[2],
                                  &intercept[2], &slope[3], &intercept[3]),
                              0);
                }
                for (std::size_t c = 0; c < 4; ++c) {
                    if (method == 2) {
                        const auto expected = reference::to_registers(lines[c], ref_level, 4, 12, 8);
                        ASSERT_EQ(slope_fix[c], expected.slope) << c;
                        ASSERT_EQ(level_fix[c], expected.level) << c;
                    } else {
                        ASSERT_EQ(slope[c], std::bit_cast<uint32_t>(lines[c].slope)) << c;
                        ASSERT_EQ(intercept[c], std::bit_cast<uint32_t>(lines[c].intercept)) << c;
                    }
                }
                ASSERT_EQ(call.series, expected_series);
                EXPECT_EQ(call.releases, 0);
            });
        }
    }
}

TEST(NoiseProfile, OtherMosaicsAreSubtractedAndGiveNoLine) {
    // Pattern 8 begins 16, 3, 16, 0: what is no channel takes the black level of the sample before, none at first.
    for (const int pattern : {8, 77, -1}) {
        SeriesCall call({{{100, 100, 100, 100}}}, 4, 1);
        std::array<uint32_t, 8> out{};
        ASSERT_EQ(cali_isp_np_float_calc(&call.list, 4, 1, 1, 1, pattern, 10, 20, 30, 0, &out[0], &out[1], &out[2],
                                         &out[3], &out[4], &out[5], &out[6], &out[7]),
                  0);
        EXPECT_EQ(call.series[0][0],
                  pattern == 8 ? (reference::Samples{100, 70, 70, 90}) : (reference::Samples{100, 100, 100, 100}));
        EXPECT_TRUE(std::isnan(std::bit_cast<float>(out[0])));
    }
}

TEST(NoiseRegisters, MatchThePlainConversions) {
    Random random(102);
    const auto value = [&] {
        const double unit = static_cast<double>(random()) / 4294967296.0 - 0.3;
        return static_cast<float>(unit * std::pow(10.0, static_cast<int>(random() % 12) - 4));
    };
    for (int turn = 0; turn < 3000; ++turn) {
        SCOPED_TRACE(turn);
        const auto bits = [&] { return static_cast<uint32_t>(random()) % (turn % 5 == 0 ? 40 : 14); };
        const std::array<reference::Format, 4> formats = {
            {{bits(), bits()}, {bits(), bits()}, {bits(), bits()}, {bits(), bits()}}};
        std::array<std::string, 4> texts;
        for (std::size_t i = 0; i < 4; ++i) {
            texts[i] = "U" + std::to_string(formats[i].int_bits) + "." + std::to_string(formats[i].frac_bits);
        }
        const reference::Line line{value(), turn % 100 == 0 ? std::numeric_limits<float>::quiet_NaN() : value()};
        const auto ref_level = static_cast<int32_t>(random() % 5000) - 100;
        const auto expected = reference::to_registers(line, ref_level, formats[0].int_bits, formats[0].frac_bits,
                                                      formats[1].int_bits + formats[1].frac_bits);
        int32_t slope = -7;
        int32_t level = -7;
        ASSERT_EQ(
            cali_isp_np_float_to_fix_calc(line.slope, line.intercept, ref_level, &slope, &level, 9, formats[0].int_bits,
                                          formats[0].frac_bits, 9, formats[1].int_bits, formats[1].frac_bits),
            0);
        ASSERT_EQ(slope, expected.slope);
        ASSERT_EQ(level, expected.level);
        slope = level = -7;
        ASSERT_EQ(cali_isp_np_float_to_fix_calc_v2(line.slope, line.intercept, ref_level, &slope, &level,
                                                   texts[0].c_str(), texts[1].c_str()),
                  0);
        ASSERT_EQ(slope, expected.slope);
        ASSERT_EQ(level, expected.level);

        const reference::Registers from{static_cast<int32_t>(random()), static_cast<int32_t>(random())};
        const auto moved = reference::move_registers(from, formats[0], formats[1], formats[2], formats[3]);
        ASSERT_EQ(cali_isp_np_fix_to_fix_calc(from.slope, from.level, texts[0].c_str(), texts[1].c_str(),
                                              texts[2].c_str(), texts[3].c_str(), &slope, &level),
                  0);
        ASSERT_EQ(slope, moved.slope);
        ASSERT_EQ(level, moved.level);

        const std::array<reference::Line, 4> lines = {
            {{value(), value()}, {value(), value()}, {value(), value()}, line}};
        std::array<float, 4> slopes{};
        std::array<float, 4> intercepts{};
        for (std::size_t c = 0; c < 4; ++c) {
            slopes[c] = lines[c].slope;
            intercepts[c] = lines[c].intercept;
        }
        const auto luma = reference::luma_registers(lines, ref_level, formats[0], formats[1]);
        ASSERT_EQ(cali_isp_ynr_np_fix_calc(slopes.data(), intercepts.data(), ref_level, texts[0].c_str(),
                                           texts[1].c_str(), &slope, &level),
                  0);
        ASSERT_EQ(slope, luma.slope);
        ASSERT_EQ(level, luma.level);
    }
}

TEST(NoiseRegisters, FormatTexts) {
    int32_t slope = -7;
    int32_t level = -7;
    const auto convert = [&](const char* slope_format, const char* level_format) {
        return cali_isp_np_float_to_fix_calc_v2(5.0F, 2.0F, 64, &slope, &level, slope_format, level_format);
    };
    EXPECT_EQ(convert("U2.8", "x9.0"), 0);
    EXPECT_EQ(slope, 1023);
    EXPECT_EQ(level, 322);
    EXPECT_EQ(convert(".8", "U12"), -1);  // the point in front: no integer bits; none at all: rejected
    EXPECT_EQ(convert(".8", "U.12"), 0);
    EXPECT_EQ(slope, 255);
    slope = level = -7;
    // The one exception that reaches the caller.
    try {
        (void)convert("", "U8.0");
        ADD_FAILURE() << "no exception";
    } catch (const std::out_of_range& problem) {
        EXPECT_STREQ(problem.what(), "invalid string position");
    }
    EXPECT_THROW((void)convert("U2.8", ""), std::out_of_range);
    EXPECT_EQ(slope, -7);
    const CapturedWarnings warnings;
    EXPECT_EQ(cali_isp_np_fix_to_fix_calc(1, 1, "U2.8", "U8.0", "", "U8.0", &slope, &level), -1);
    EXPECT_EQ(cali_isp_np_fix_to_fix_calc(1, 1, "U2.8", nullptr, "U2.8", "U8.0", &slope, &level), -1);
    EXPECT_EQ(warnings.texts().size(), 2U);
    EXPECT_EQ(slope, -7);
}

TEST(NoiseImages, MatchThePlainOnes) {
    Random random(103);
    for (const SampleKind kind : kSampleKinds) {
        std::vector<reference::Samples> frames;
        for (int k = 0; k < 5; ++k) {
            frames.push_back(samples_of_kind(random, kind, 12 * 7));
        }
        reference::Samples output(12 * 7);
        uint32_t* a = frames[0].data();
        uint32_t* b = frames[1].data();
        uint32_t* out = output.data();
        ASSERT_EQ(cali_isp_diff_img_calc(&a, &b, 12, 7, &out), 0);
        EXPECT_EQ(output, reference::difference_image(frames[0], frames[1]));
        std::vector<uint32_t*> pointers;
        std::ranges::transform(frames, std::back_inserter(pointers), [](auto& frame) { return frame.data(); });
        std::vector<float> deviation(12 * 7);
        ASSERT_EQ(cali_isp_std_img_calc(pointers.data(), 5, 12, 7, deviation.data()), 0);
        EXPECT_TRUE(same_bits(reference::deviation_image(frames), deviation));
    }
}

TEST(NoiseRejection, ReleasesTheListAndNamesWhatIsWrong) {
    Random random(104);
    const reference::Series series = random_series(random, 3, 2, 8 * 6, 4000);
    struct Damage {
        const char* named;
        uint32_t width = 8, height = 6;
        int32_t count = 3, nch = 4, nframes = 2;
        bool no_mean = false;
        bool no_frame = false;
    };
    const std::vector<Damage> damages = {
        {.named = "frame size", .width = 65536, .height = 65536},
        {.named = "hold more than", .width = 40000, .height = 30000},
        {.named = "count is 4, expected 0 to 3", .count = 4},
        {.named = "nframes is 3, level 0 holds 2", .nframes = 3},
        {.named = "nframes is -1", .nframes = -1},
        {.named = "nch is 3, expected 4", .nch = 3},
        {.named = "nch is 2, expected 3", .width = 1, .nch = 2},
        {.named = "means", .no_mean = true},
        {.named = "level's frame", .no_frame = true},
    };
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.named);
        SeriesCall call(series, 8, 6);
        std::vector<float> values(3, 7);
        std::vector<float*> arrays(4, values.data());
        arrays[3] = damage.no_mean ? nullptr : arrays[3];
        call.pointers[2][1] = damage.no_frame ? nullptr : call.pointers[2][1];
        const CapturedWarnings warnings;
        EXPECT_EQ(cali_isp_roi_mean_std_calc(call.list, damage.width, damage.height, damage.count, damage.nch,
                                             damage.nframes, arrays.data(), arrays.data()),
                  -1);
        EXPECT_EQ(call.releases, 1);
        ASSERT_EQ(warnings.texts().size(), 1U);
        EXPECT_EQ(warnings.texts()[0].rfind("Noise Calib Warning: ", 0), 0U);
        EXPECT_NE(warnings.texts()[0].find(damage.named), std::string::npos) << warnings.texts()[0];
        EXPECT_EQ(values, std::vector<float>(3, 7));
    }
    // Nothing to measure is fine, whatever the rest; nothing to release too.
    SeriesCall call(series, 8, 6);
    EXPECT_EQ(cali_isp_roi_mean_var_calc(call.list, 8, 6, 0, -1, -1, nullptr, nullptr), 0);
    EXPECT_EQ(call.releases, 1);
    call.list.release = nullptr;
    EXPECT_EQ(cali_isp_roi_mean_var_calc(call.list, 8, 6, 0, -1, -1, nullptr, nullptr), 0);
    EXPECT_EQ(call.releases, 1);

    const CapturedWarnings warnings;
    std::array<uint32_t, 8> out{};
    const auto profile = [&](const LevelList* list, int32_t pattern, uint32_t* last) {
        return cali_isp_np_float_calc_ainr(list, 8, 6, 3, 2, pattern, 0, 0, 0, 0, &out[0], &out[1], &out[2], &out[3],
                                           &out[4], &out[5], &out[6], last);
    };
    EXPECT_EQ(profile(nullptr, 0, &out[7]), -1);
    EXPECT_EQ(profile(&call.list, 4, &out[7]), -1);
    EXPECT_EQ(profile(&call.list, 0, nullptr), -1);
    EXPECT_EQ(cali_isp_np_fix_calc(&call.list, 8, 6, 3, 2, 0, 0, 0, 0, 9, "U4.8", nullptr, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr, nullptr),
              -1);
    EXPECT_EQ(cali_isp_std_img_calc(call.pointers[0].data(), 1, 8, 6, nullptr), -1);
    EXPECT_EQ(cali_isp_diff_img_calc(nullptr, nullptr, 8, 6, nullptr), -1);
    EXPECT_EQ(cali_isp_np_lr_calc(nullptr, nullptr, 2, &out[0], &out[1]), -1);
    EXPECT_EQ(warnings.texts().size(), 7U);
    EXPECT_EQ(out, (std::array<uint32_t, 8>{}));
    EXPECT_EQ(call.series, series);
}

}  // namespace
}  // namespace cali::test
