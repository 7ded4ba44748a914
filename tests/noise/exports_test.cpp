#include <bit>
#include <cmath>

#include "support/export_calls.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

SeriesCall random_series_call(Random& random, int turn) {
    const uint32_t width = 1 + random() % 20;
    const uint32_t height = 1 + random() % 12;
    const uint32_t brightest = pick(random, std::array<uint32_t, 4>{4400, 4400, 70000, 0xF0000000U});
    std::vector<std::vector<reference::Samples>> series(static_cast<std::size_t>(turn % 9));
    const std::size_t frames = 1 + random() % 3;
    for (std::size_t k = 0; k < series.size(); ++k) {
        const auto base = static_cast<uint32_t>(brightest / series.size() * k);
        for (std::size_t j = 0; j < frames; ++j) {
            series[k].push_back(random_samples(random, std::size_t{width} * height, base, base + brightest / 8));
        }
    }
    return {std::move(series), width, height};
}

TEST(RecordedCalls, NoiseStatistics) {
    expect_recorded("noise.roi", 1000, [](Random& random, int turn, Digest& digest) {
        SeriesCall call = random_series_call(random, turn);
        const auto statistics = turn % 2 == 0 ? cali_isp_roi_mean_std_calc : cali_isp_roi_mean_var_calc;
        // As many positions as the frame has, or more.
        const std::size_t least = (call.height > 1 ? 2 : 0) + (call.width > 1 ? 2 : 1);
        digest << call.measure(statistics, least + random() % 3) << call.means << call.spreads;
        digest << call.series << call.releases;
    });
}

TEST(RecordedCalls, NoiseProfiles) {
    expect_recorded("noise.profile", 1000, [](Random& random, int turn, Digest& digest) {
        SeriesCall call = random_series_call(random, turn);
        const auto black = [&] { return turn % 9 == 8 ? 0xFFFFFF00U : random() % 200; };
        const std::array<uint32_t, 3> blacks = {black(), black(), black()};
        std::array<uint32_t, 4> slope{};
        std::array<uint32_t, 4> intercept{};
        std::array<int32_t, 4> slope_fix{};
        std::array<int32_t, 4> level_fix{};
        if (turn % 3 == 0) {
            digest << cali_isp_np_fix_calc(
                &call.list, call.width, call.height, call.count(), call.nframes(), turn % 4, blacks[0], blacks[1],
                blacks[2], 40 * (turn % 100), turn % 2 == 0 ? "U4.12,U8.0" : "U3.16,U6.3", &slope_fix[0], &level_fix[0],
                &slope_fix[1], &level_fix[1], &slope_fix[2], &level_fix[2], &slope_fix[3], &level_fix[3]);
        } else {
            // The one knows the mosaics beyond the four patterns too, and takes what is none.
            const auto fit = turn % 3 == 1 ? cali_isp_np_float_calc : cali_isp_np_float_calc_ainr;
            const int32_t pattern = turn % 3 == 1 && turn % 2 == 0 ? random.within(-1, 21) : turn % 4;
            digest << fit(&call.list, call.width, call.height, call.count(), call.nframes(), pattern, blacks[0],
                          blacks[1], blacks[2], 9, &slope[0], &intercept[0], &slope[1], &intercept[1], &slope[2],
                          &intercept[2], &slope[3], &intercept[3]);
        }
        for (std::size_t c = 0; c < 4; ++c) {
            digest << std::bit_cast<float>(slope[c]) << std::bit_cast<float>(intercept[c]);
        }
        digest << slope_fix << level_fix << call.series << call.releases;
    });
}

TEST(RecordedCalls, NoiseRegisters) {
    expect_recorded("noise.registers", 1000, [](Random& random, int turn, Digest& digest) {
        const auto format = [&](int32_t most) {
            const std::string whole = std::to_string(random.within(0, most));
            return "U" + whole + "." + std::to_string(random.within(0, most));
        };
        const auto value = [&](double least) {
            constexpr std::array kScales = {1e-4F, 1e-3F, 0.01F, 0.3F, 1.0F, 20.0F, 900.0F, 1e8F};
            const float scale = pick(random, kScales);
            return static_cast<float>(random.unit() + least) * scale;
        };
        const std::array<std::string, 4> formats = {format(turn % 5 == 0 ? 31 : 12), format(12), format(12),
                                                    format(turn % 5 == 1 ? 31 : 12)};
        const int32_t ref_level = random.within(-100, 4900);
        std::array<int32_t, 8> out{};
        const std::array<uint32_t, 4> bits = {random() % 40, random() % 14, random() % 14, random() % 40};
        const float slope = value(-0.3);
        const float intercept = value(-0.3);
        digest << cali_isp_np_float_to_fix_calc(slope, intercept, ref_level, &out[0], &out[1], 9, bits[0], bits[1], 9,
                                                bits[2], bits[3]);
        constexpr std::array kOddFormats = {"x9.0", ".8", "U.12", "U12", "U40.9", "U-1.8", "U 3. 5", "U4.8.2", "."};
        const char* const odd = pick(random, kOddFormats);
        digest << cali_isp_np_float_to_fix_calc_v2(slope, intercept, ref_level, &out[2], &out[3],
                                                   turn % 4 == 0 ? odd : formats[0].c_str(),
                                                   turn % 4 == 1 ? odd : formats[1].c_str());
        const auto any = [&] { return static_cast<int32_t>(random() >> random() % 32); };
        const std::array<int32_t, 2> from = {any(), any()};
        digest << cali_isp_np_fix_to_fix_calc(from[0], from[1], formats[0].c_str(), formats[1].c_str(),
                                              formats[2].c_str(), formats[3].c_str(), &out[4], &out[5]);
        std::array<float, 4> slopes{};
        std::array<float, 4> intercepts{};
        for (std::size_t c = 0; c < 4; ++c) {
            slopes[c] = value(0) / 100;
            intercepts[c] = value(0);
        }
        digest << cali_isp_ynr_np_fix_calc(slopes.data(), intercepts.data(), ref_level, formats[0].c_str(),
                                           formats[1].c_str(), &out[6], &out[7]);
        std::array<uint32_t, 2> line{};
        digest << cali_isp_np_lr_calc(slopes.data(), intercepts.data(), static_cast<uint32_t>(turn % 5), &line[0],
                                      &line[1]);
        digest << std::bit_cast<float>(line[0]) << std::bit_cast<float>(line[1]) << out;
    });
}

TEST(RecordedCalls, NoiseImages) {
    expect_recorded("noise.images", 1000, [](Random& random, int turn, Digest& digest) {
        std::vector<reference::Samples> frames;
        std::vector<uint32_t*> pointers;
        for (int k = 0; k < 2 + turn % 4; ++k) {
            frames.push_back(samples_of_kind(random, pick(random, kSampleKinds), 5 * 3));
        }
        for (auto& frame : frames) {
            pointers.push_back(frame.data());
        }
        reference::Samples difference(5 * 3);
        uint32_t* output = difference.data();
        std::vector<float> deviation(5 * 3);
        digest << cali_isp_diff_img_calc(&pointers[0], &pointers[1], 5, 3, &output) << difference;
        digest << cali_isp_std_img_calc(pointers.data(), 1 + turn % 4, 5, 3, deviation.data()) << deviation;
    });
}

}  // namespace
}  // namespace cali::test
