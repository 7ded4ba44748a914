#include <bit>

#include "golden/golden.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

SeriesCall random_series_call(Random& random, int turn) {
    const uint32_t width = random() % 21;
    const uint32_t height = random() % 13;
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

void statistics(Golden& golden, Random& random, int turn) {
    SeriesCall call = random_series_call(random, turn);
    // As many positions as the frame has, or more.
    const std::size_t positions = (call.height > 1 ? 2U : 0U) + (call.width > 1 ? 2U : 1U) + random() % 3;
    golden["cali_isp_roi_mean_std_calc"] << call.measure(cali_isp_roi_mean_std_calc, positions) << call.means
                                         << call.spreads << call.releases << call.series;
    golden["cali_isp_roi_mean_var_calc"] << call.measure(cali_isp_roi_mean_var_calc, positions) << call.means
                                         << call.spreads << call.releases << call.series;
}

void profiles(Golden& golden, Random& random, int turn) {
    SeriesCall call = random_series_call(random, turn);
    const SeriesCall::Series before = call.series;
    const auto black = [&] { return turn % 9 == 8 ? 0xFFFFFF00U : random() % 200; };
    const std::array<uint32_t, 3> blacks = {black(), black(), black()};
    std::array<uint32_t, 4> slope{};
    std::array<uint32_t, 4> intercept{};
    const auto fit = [&](const char* name, decltype(cali_isp_np_float_calc) function, int32_t pattern) {
        golden[name] << function(&call.list, call.width, call.height, call.count(), call.nframes(), pattern, blacks[0],
                                 blacks[1], blacks[2], 9, &slope[0], &intercept[0], &slope[1], &intercept[1], &slope[2],
                                 &intercept[2], &slope[3], &intercept[3]);
        for (std::size_t c = 0; c < 4; ++c) {
            golden[name] << std::bit_cast<float>(slope[c]) << std::bit_cast<float>(intercept[c]);
        }
        golden[name] << call.series << call.releases;
        for (std::size_t k = 0; k < before.size(); ++k) {
            for (std::size_t j = 0; j < before[k].size(); ++j) {
                std::ranges::copy(before[k][j], call.series[k][j].begin());
            }
        }
    };
    // The one knows the mosaics beyond the four patterns too, and takes what is none.
    fit("cali_isp_np_float_calc", cali_isp_np_float_calc, turn % 2 == 0 ? random.within(-1, 21) : turn % 4);
    fit("cali_isp_np_float_calc_ainr", cali_isp_np_float_calc_ainr, turn % 4);
    std::array<int32_t, 8> fix{};
    golden["cali_isp_np_fix_calc"] << cali_isp_np_fix_calc(
                                          &call.list, call.width, call.height, call.count(), call.nframes(), turn % 4,
                                          blacks[0], blacks[1], blacks[2], 40 * (turn % 100),
                                          turn % 2 == 0 ? "U4.12,U8.0" : "U3.16, U6.3", &fix[0], &fix[1], &fix[2],
                                          &fix[3], &fix[4], &fix[5], &fix[6], &fix[7])
                                   << fix << call.series << call.releases;
}

void registers(Golden& golden, Random& random, int turn) {
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
    std::array<int32_t, 2> out{};
    const std::array<uint32_t, 4> bits = {random() % 40, random() % 14, random() % 14, random() % 40};
    const float slope = value(-0.3);
    const float intercept = value(-0.3);
    golden["cali_isp_np_float_to_fix_calc"]
        << cali_isp_np_float_to_fix_calc(slope, intercept, ref_level, &out[0], &out[1], 9, bits[0], bits[1], 9, bits[2],
                                         bits[3])
        << out;
    constexpr std::array kOddFormats = {"x9.0", ".8", "U.12", "U12", "U40.9", "U-1.8", "U 3. 5", "U4.8.2", "."};
    const char* const odd = pick(random, kOddFormats);
    golden["cali_isp_np_float_to_fix_calc_v2"]
        << cali_isp_np_float_to_fix_calc_v2(slope, intercept, ref_level, &out[0], &out[1],
                                            turn % 4 == 0 ? odd : formats[0].c_str(),
                                            turn % 4 == 1 ? odd : formats[1].c_str())
        << out;
    const auto any = [&] { return static_cast<int32_t>(random() >> random() % 32); };
    const std::array<int32_t, 2> from = {any(), any()};
    golden["cali_isp_np_fix_to_fix_calc"]
        << cali_isp_np_fix_to_fix_calc(from[0], from[1], formats[0].c_str(), formats[1].c_str(), formats[2].c_str(),
                                       formats[3].c_str(), &out[0], &out[1])
        << out;
    std::array<float, 4> slopes{};
    std::array<float, 4> intercepts{};
    for (std::size_t c = 0; c < 4; ++c) {
        slopes[c] = value(0) / 100;
        intercepts[c] = value(0);
    }
    golden["cali_isp_ynr_np_fix_calc"] << cali_isp_ynr_np_fix_calc(slopes.data(), intercepts.data(), ref_level,
                                                                   formats[0].c_str(), formats[1].c_str(), &out[0],
                                                                   &out[1])
                                       << out;
    std::array<uint32_t, 2> line{};
    golden["cali_isp_np_lr_calc"] << cali_isp_np_lr_calc(slopes.data(), intercepts.data(),
                                                         static_cast<uint32_t>(turn % 5), &line[0], &line[1])
                                  << std::bit_cast<float>(line[0]) << std::bit_cast<float>(line[1]);
}

void images(Golden& golden, Random& random, int turn) {
    const Geometry size{random.within(1, 40), random.within(1, 9), 0};
    const auto width = static_cast<uint32_t>(size.width);
    const auto height = static_cast<uint32_t>(size.height);
    std::vector<reference::Samples> frames;
    std::vector<uint32_t*> pointers;
    for (int k = 0; k < 2 + turn % 4; ++k) {
        frames.push_back(samples_of_kind(random, pick(random, kSampleKinds), size.size()));
    }
    for (auto& frame : frames) {
        pointers.push_back(frame.data());
    }
    reference::Samples difference(size.size());
    uint32_t* output = difference.data();
    std::vector<float> deviation(size.size());
    golden["cali_isp_diff_img_calc"] << cali_isp_diff_img_calc(&pointers[0], &pointers[1], width, height, &output)
                                     << difference << frames;
    golden["cali_isp_std_img_calc"] << cali_isp_std_img_calc(pointers.data(), 1 + turn % 4, width, height,
                                                             deviation.data())
                                    << deviation << frames;
}

}  // namespace

void call_noise(Golden& golden) {
    repeat(1000, golden, statistics);
    repeat(1000, golden, profiles);
    repeat(1000, golden, registers);
    repeat(1000, golden, images);
}

}  // namespace cali::test
