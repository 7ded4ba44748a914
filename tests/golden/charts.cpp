#include <algorithm>
#include <limits>
#include <optional>

#include "chart/chart_table.h"
#include "golden/golden.h"
#include "support/chart_support.h"

namespace cali::test {
namespace {

void matrix_fit(Golden& golden, Random& random, int turn) {
    // The chart as a sensor with crosstalk and noise sees it, codes of any size, and patches all alike.
    const double crosstalk = turn % 7 * 0.07;
    std::vector<std::vector<int32_t>> patches;
    std::vector<const int32_t*> pointers;
    for (const auto& encoded : kChartSrgb24) {
        auto& patch = patches.emplace_back();
        for (std::size_t i = 0; i < 18; ++i) {
            const double own = encoded[i % 3] * encoded[i % 3];
            const double next = encoded[(i + 1) % 3] * encoded[(i + 1) % 3];
            const auto mixed = static_cast<int32_t>(4095 * (own * (1 - crosstalk) + next * crosstalk));
            const auto any = static_cast<int32_t>(random());
            patch.push_back(turn % 13 == 0 ? any : turn % 11 == 0 ? turn % 2 * 2000 : mixed + any % (1 + turn % 60));
        }
        pointers.push_back(patch.data());
    }
    std::vector<float> weights(24, 1.0F);
    if (turn % 2 == 1) {
        std::ranges::generate(weights, [&] { return static_cast<float>(random.within(0, 255)) / 64.0F; });
    }
    const float lambda_scale = pick(random, std::array{1.0F, 1.0F, 2.0F, 0.0F, -0.5F});
    std::array<float, 9> ccm{};
    std::array<int32_t, 9> q10{};
    golden["libm/cali_ccm_calc"] << cali_ccm_calc(pointers.data(), nullptr, turn % 3 == 0 ? random.within(1, 24) : 24,
                                                  2, 3, 3, lambda_scale, weights.data(), ccm.data(), q10.data())
                                 << ccm << q10;
}

/// Of a frame with a chart, in every seventh an extreme sample here and there.
ChartCall random_chart_call(Random& random, int turn) {
    const int32_t width = random.within(48, 90);
    const int32_t height = random.within(40, 80);
    OwnedFrame frame = chart_frame(random, {width, height, turn % 4}, 3000);
    for (int i = turn % 7 == 6 ? 8 : 0; i > 0; --i) {
        frame.samples[random() % frame.samples.size()] = pick(random, kExtremeSamples);
    }
    return ChartCall(std::move(frame));
}

void chart_pipelines(Golden& golden, Random& random, int turn) {
    ChartCall call = random_chart_call(random, turn);
    randomise(random, turn, call);
    golden.look_for_files(module_state().debug.ccm_dump = turn % 20 == 0);
    golden["libm/cali_isp_awb_ccm"] << call.joint() << call.gains << call.ccm << call.q10 << call.input.samples;
    golden["libm/cali_isp_ccm_pipe_calc"] << call.first_generation() << call.ccm << call.q10 << call.input.samples;
}

void optimised_pipeline(Golden& golden, Random& random, int turn) {
    ChartCall call = random_chart_call(random, turn);
    randomise(random, turn, call);
    // Near a gamma curve, and near the identity.
    std::vector<uint32_t> second(static_cast<std::size_t>(random.within(200, 4096)));
    call.curve.resize(static_cast<std::size_t>(random.within(1, 400)));
    for (auto* const curve : {&call.curve, &second}) {
        const auto last = static_cast<uint32_t>(curve->size() - 1);
        for (uint32_t i = 0; i <= last; ++i) {
            const uint32_t linear = last == 0 ? 4095 : 4095 * i / last;
            (*curve)[i] = curve == &second ? linear : linear + linear * (4095 - linear) / 8190;
        }
    }
    call.curves = {call.curve.data(), static_cast<uint32_t>(call.curve.size()), second.data(),
                   static_cast<uint32_t>(second.size())};
    call.tone_curves = turn % 3 == 1 ? &call.curves : nullptr;
    golden.look_for_files(module_state().debug.ccm_dump = turn % 20 == 0);
    golden["libm/cali_isp_ccm_pipe_calc_v2"] << call.optimised() << call.ccm << call.q10 << call.input.samples;
}

std::vector<RoiRgbMean> random_colours(Random& random, std::size_t count, double most_chroma) {
    std::vector<RoiRgbMean> colours;
    for (std::size_t i = 0; i < count; ++i) {
        const double grey = random.unit() * 255;
        const auto channel = [&] { return std::clamp(grey + most_chroma * (random.unit() - 0.5), 0.0, 255.0); };
        colours.push_back({channel(), channel(), channel(), 9, 8});
    }
    return colours;
}

void regions(Golden& golden, Random& random, int turn) {
    const std::array<int32_t, 2> size = {random.within(1, 40), random.within(1, 30)};
    std::vector<uint8_t> image(static_cast<std::size_t>(3 * size[0] * size[1]));
    std::ranges::generate(image, [&] { return static_cast<uint8_t>(random() >> 8U); });
    std::vector<RoiRect> rois(random() % 5);
    for (auto& [x, y, w, h] : rois) {
        x = random.within(0, size[0] - 1);
        y = random.within(0, size[1] - 1);
        w = random.within(0, size[0] - x);
        h = random.within(0, size[1] - y);
    }
    std::vector<RoiRgbMean> means(rois.size(), {-1, -1, -1, 3, 4});
    golden["cali_roi_rgb_cal"] << cali_roi_rgb_cal(image.data(), size[0], size[1], means.data(), rois.data(),
                                                   static_cast<int32_t>(rois.size()))
                               << means;

    const std::size_t count = turn % 4 == 0 ? static_cast<std::size_t>(random.within(0, 30)) : 24;
    const auto measured = random_colours(random, count, turn % 5 == 0 ? 0 : 200);
    const auto wanted = turn % 7 == 0 ? measured : random_colours(random, count, 100);
    std::vector<RoiRgbMean> adjusted(count, {-1, -1, -1, 3, 4});
    for (const uint32_t mode : {0U, 1U + static_cast<uint32_t>(turn) % 3}) {  // mode 0 takes powers
        golden[mode == 0 ? "libm/cali_roi_rgb_adjust" : "cali_roi_rgb_adjust"]
            << cali_roi_rgb_adjust(measured.data(), wanted.data(), adjusted.data(), static_cast<uint32_t>(count), mode)
            << adjusted;
    }
}

void region_greys(Golden& golden, Random& random, int turn) {
    const std::size_t count = random() % 12;
    auto measured = random_colours(random, count, turn % 4 * 12);
    auto wanted = random_colours(random, count, 100);
    if (turn % 10 == 0 && count > 2) {
        measured[1].g = std::numeric_limits<double>::quiet_NaN();
    }
    const GrayInterpSettings settings{
        static_cast<uint16_t>(random.within(0, 60)), static_cast<uint32_t>(turn % 40 == 7 ? 0 : random.within(1, 40)),
        static_cast<float>(random.unit() * 1.2), static_cast<uint32_t>(random.within(0, turn % 3 == 0 ? 2 : 30))};
    measured.resize(count + settings.max_add);
    wanted.resize(count + settings.max_add);
    uint32_t out_count = 77;
    golden["cali_roi_rgb_interpolation"] << cali_roi_rgb_interpolation(measured.data(), wanted.data(),
                                                                       static_cast<uint32_t>(count), &settings,
                                                                       &out_count)
                                         << out_count << measured << wanted;
}

ClutCell random_cell(Random& random) {
    const auto component = [&] { return static_cast<float>(random.within(0, 255)) / 255.0F; };
    return {component(), component(), component(), static_cast<float>(random.within(0, 3)) / 2.0F};
}

void colour_tables(Golden& golden, Random& random, int turn) {
    std::vector<ClutCell> measured = {{0.75F, 0.25F, 0.5F, 1.0F}};  // never all greys
    std::vector<ClutCell> target = {random_cell(random)};
    for (int i = random.within(0, turn % 2 == 0 ? 40 : 4); i > 0; --i) {
        measured.push_back(random_cell(random));
        target.push_back(random_cell(random));
        if (turn % 3 != 0) {  // as a chart's colours: near their targets
            ClutCell& to = target.back();
            for (const auto c : {&ClutCell::r, &ClutCell::g, &ClutCell::b}) {
                to.*c = measured.back().*c * 0.875F + to.*c * 0.125F;
            }
        }
    }
    const auto nodes = [&] { return random.within(2, turn % 10 == 0 ? 17 : 8); };
    const ClutSettings settings{{nodes(), nodes(), nodes()},
                                static_cast<float>(random.within(0, 8)) / 8.0F,
                                static_cast<float>(random.within(1, 16)) / 16.0F};
    std::optional<EnvironmentVariable> dump;
    std::optional<EnvironmentVariable> bypass;
    golden.look_for_files(turn % 20 == 0);
    if (turn % 20 == 0) {
        dump.emplace("CLUT_EXPORT_TABLE", turn % 60 == 0 ? "0" : "2");
    }
    if (turn % 8 == 0) {
        bypass.emplace("CLUT_BYPASS_POSTPROCESS", turn % 16 == 0 ? "0" : "1");
    }
    std::vector<int32_t> table(static_cast<std::size_t>(3 * settings.nodes[0] * settings.nodes[1] * settings.nodes[2]));
    const auto count = static_cast<int32_t>(measured.size());
    golden["cali_clut_calc"] << cali_clut_calc(measured.data(), target.data(), count, &settings, table.data()) << table;
    golden["cali_clut_calc_rgb"] << cali_clut_calc_rgb(measured.data(), target.data(), count, &settings, table.data())
                                 << table;
}

}  // namespace

void call_charts(Golden& golden) {
    repeat(1000, golden, matrix_fit);
    repeat(100, golden, chart_pipelines);
    repeat(32, golden, optimised_pipeline);
    repeat(1000, golden, regions);
    repeat(1000, golden, region_greys);
    repeat(160, golden, colour_tables);
}

}  // namespace cali::test
