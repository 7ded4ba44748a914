#include <algorithm>
#include <cmath>
#include <limits>

#include "golden/golden.h"
#include "support/export_calls.h"

namespace cali::test {
namespace {

void black_level(Golden& golden, Random& random, int turn) {
    const int32_t width = random.within(0, 30);
    const int32_t height = random.within(0, 30);
    // Medians around both bounds, and samples past every histogram.
    const uint32_t low = pick(random, std::array<uint32_t, 4>{0, 60, 790, 4000});
    const uint32_t spread = pick(random, std::array<uint32_t, 4>{1, 10, 300, 0xFFFFF000U});
    const auto blocks = static_cast<uint32_t>(random.within(1, std::max(1, std::min(width, height))));
    const auto count = static_cast<std::size_t>(width * height);
    BlcCall call({random_samples(random, count, low, low + std::min(spread, ~low)), width, height, turn % 4}, blocks);
    call.is_12bit = turn % 3 - 1;
    golden.look_for_files(module_state().debug.blc_report = turn % 5 == 0);
    golden["cali_blc_calc_by_median"] << call.median() << call.offsets << call.gains << call.input.samples;
    call.width += static_cast<uint32_t>(turn % 3) * 65536;  // the mean counts in 16 bits
    golden["cali_blc_calc_by_mean"] << call.mean() << call.offsets << call.gains << call.input.samples;
    call.width %= 65536;
    golden["cali_blc_calc"] << call.deviation() << call.offsets << call.gains << call.input.samples;
    golden["cali_blc_calc_by_localblc"] << call.local() << call.block_offsets << call.input.samples;
    golden["cali_blc_get_histogram"] << call.get_histogram() << call.histograms << call.input.samples;
    call.output_pointer = turn % 7 == 0 ? call.input_pointer : call.output_pointer;
    golden["cali_blc_verify"] << call.verify() << call.output_samples << call.input.samples;
}

void white_balance(Golden& golden, Random& random, int turn) {
    // Now and then sums above 2^26, whose additions round.
    const int most = turn % 100 == 99 ? 330 : 40;
    const int least = turn % 100 == 99 ? 250 : 0;
    const int32_t width = random.within(least, most);
    const int32_t height = random.within(least, most);
    const int cols = random.within(3, 15);
    const int rows = random.within(3, 15);
    const uint32_t high = pick(random, std::array<uint32_t, 4>{600, 2500, 4095, 0xFFFFFFFFU});
    AwbCall call{random_frame(random, width, height, turn % 4, high), plausible_grids(random, cols, rows)};
    const auto x = random.within(-1, width);
    const auto y = random.within(-1, height);
    std::array<int32_t, 4> window = {x, y, random.within(-1, width - x), random.within(-1, height - y)};
    if (turn % 5 == 0) {
        constexpr std::array kFar = {
            0, 4, -2, -90, std::numeric_limits<int32_t>::max(), std::numeric_limits<int32_t>::min()};
        window[random() % 4] = pick(random, kFar);
        window[random() % 4] = pick(random, kFar);
    }
    golden["cali_awb_setROI"] << cali_awb_setROI(window[0], window[1], window[2], window[3]);
    const AwbRoi& kept = module_state().awb_roi;
    golden["cali_awb_setROI"] << kept.x << kept.y << kept.width << kept.height;
    golden["cali_awb_calc"] << call.calc() << call.gains << call.input.samples;
    call.applied_gains = {pick(random, std::array<uint16_t, 4>{0, 1024, 1700, 65535}), 0,
                          pick(random, std::array<uint16_t, 4>{0, 1023, 2999, 16383})};
    golden.look_for_files(module_state().debug.awb_dump = turn % 10 == 0);
    call.output_pointer = turn % 7 == 0 ? call.input_pointer : call.output_pointer;
    golden["cali_awb_verify"] << call.verify() << call.output_samples << call.input.samples;
}

/// Of lights from warm to cool along a plausible locus, or anything.
void white_balance_curve(Golden& golden, Random& random, int turn) {
    const auto unit = [&] { return static_cast<float>(random.unit()); };
    std::vector<float> ratio_a, ratio_b, temp_k;
    std::vector<uint8_t> weight;
    const auto count = static_cast<uint8_t>(random() % 8);
    for (int i = 0; i < count; ++i) {
        const bool plausible = turn % 2 == 0;
        const float t = static_cast<float>(i) / 7.0F;
        ratio_a.push_back(plausible ? 0.4F + 0.8F * t + 0.02F * unit() : 4.0F * unit());
        ratio_b.push_back(plausible ? 1.3F - 0.7F * t + 0.02F * unit() : 4.0F * unit());
        temp_k.push_back(plausible ? 2500.0F + 5000.0F * t : 20000.0F * unit());
        weight.push_back(static_cast<uint8_t>(random() % (random() % 9 == 0 ? 256 : 73)));
    }
    const float norm_a = 0.5F + unit();
    const float norm_b = 0.5F + unit();
    AwbCurveRecord record{7, 7, 7, {{7, 7, 7}}};
    golden["cali_awb_BuildCurve"] << cali_awb_BuildCurve(norm_a, norm_b, ratio_a.data(), ratio_b.data(), temp_k.data(),
                                                         weight.data(), count, &record)
                                  << record.a << record.b << record.c << record.pack.word;
    // Of the record before, where this one was rejected; none at first.
    const std::array<float, 2> ref_a = {-1, static_cast<float>(900 + random.within(0, 300))};
    const std::array<float, 2> ref_b = {-1, static_cast<float>(turn % 50 == 1 ? 0 : random.within(1, 700))};
    std::vector<float> table(200);
    golden["cali_awb_getCurve"] << cali_awb_getCurve(table.data(), ref_a.data(), ref_b.data()) << table;
}

/// A flat field as a lens leaves it, brightest at a random place, with noise and here and there an extreme sample.
OwnedFrame shaded_frame(Random& random, int32_t width, int32_t height, int32_t pattern) {
    OwnedFrame frame{{}, width, height, pattern};
    const double peak = random.within(50, 5000);  // saturated, ordinary and dark ones
    const double slope = 0.9 * random.unit();
    const double x0 = random.unit() * width;
    const double y0 = random.unit() * height;
    const bool dusty = random() % 3 == 0;
    const bool dark = random() % 40 == 0;
    for (int32_t y = 0; y < height; ++y) {
        for (int32_t x = 0; x < width; ++x) {
            const double u = (x - x0) / width;
            const double v = (y - y0) / height;
            const double level = peak * (1 - slope * std::sqrt(u * u + v * v)) + random.within(-32, 31);
            frame.samples.push_back(dark ? 0
                                    : dusty && random() % 200 == 0
                                        ? pick(random, kExtremeSamples)
                                        : static_cast<uint32_t>(std::clamp(level, 0.0, 4095.0)));
        }
    }
    return frame;
}

void lens_shading(Golden& golden, Random& random, int turn) {
    const int most = turn % 50 == 0 ? 260 : 70;  // the largest planes hold a whole search window
    const std::array<int32_t, 4> sizes = {random.within(1, most), random.within(1, most), random.within(4, 12),
                                          random.within(4, 12)};
    LscCall call(shaded_frame(random, sizes[0], sizes[1], turn % 4), sizes[2], sizes[3]);
    call.type = turn % 5 - 1;
    call.denoise = turn % 2;
    for (int32_t& black : call.blc) {
        black = random.within(turn % 7 == 0 ? -200 : 0, 130);
    }
    golden.look_for_files(module_state().debug.lsc_dump = turn % 10 == 0);
    golden["libm/cali_lsc_calc"] << call.calc() << call.mesh << call.radial << call.center_x << call.center_y
                                 << call.norm << call.input.samples;
}

void lens_shading_check(Golden& golden, Random& random, int turn) {
    const int32_t width = random.within(0, 40);
    const int32_t height = random.within(0, 40);
    const int32_t cols = random.within(3, 9);
    const int32_t rows = random.within(3, 9);
    LscCall call(turn % 3 == 0 ? random_frame(random, width, height, turn % 4, 0xFFFFFFFFU)
                               : shaded_frame(random, width, height, turn % 4),
                 cols, rows);
    const auto grids = plausible_grids(random, call.cols, call.rows);
    std::ranges::copy(grids.red, call.mesh[0].begin());
    std::ranges::copy(grids.green, call.mesh[1].begin());
    std::ranges::copy(grids.blue, call.mesh[2].begin());
    std::ranges::generate(call.radial, [&] { return random.within(400, 4095); });
    call.center_x = random.within(0, width);
    call.center_y = random.within(0, height);
    // Any grid missing is no mesh.
    std::array<int32_t**, 3> grid = {&call.red, &call.green, &call.blue};
    if (turn % 5 == 3) {
        *grid[random() % 3] = nullptr;
    }
    call.radius_lut = turn % 7 == 3 ? nullptr : call.radius_lut;
    golden.look_for_files(module_state().debug.lsc_dump = turn % 6 == 0);
    golden["cali_lsc_verify"] << call.verify() << call.mesh_samples << call.radial_samples << call.input.samples;
}

}  // namespace

void call_front_end(Golden& golden) {
    repeat(400, golden, black_level);
    repeat(1000, golden, white_balance);
    repeat(1000, golden, white_balance_curve);
    repeat(300, golden, lens_shading);
    repeat(500, golden, lens_shading_check);
}

}  // namespace cali::test
