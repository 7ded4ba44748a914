#include <cmath>

#include "cali/cali.h"
#include "reference/colour.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

struct Lights {
    std::vector<float> ratio_a, ratio_b, temp_k;
    std::vector<uint8_t> weight;

    int32_t build(float norm_a, float norm_b, AwbCurveRecord& record) const {
        return cali_awb_BuildCurve(norm_a, norm_b, ratio_a.data(), ratio_b.data(), temp_k.data(), weight.data(),
                                   static_cast<uint8_t>(weight.size()), &record);
    }
};

float unit(Random& random) { return static_cast<float>(random() % 10000) / 10000.0F; }

/// From warm to cool along a plausible locus, or anything.
Lights random_lights(Random& random, bool plausible) {
    Lights lights;
    const std::size_t count = random() % 8;
    for (std::size_t i = 0; i < count; ++i) {
        const float t = static_cast<float>(i) / 7.0F;
        lights.ratio_a.push_back(plausible ? 0.4F + 0.8F * t + 0.02F * unit(random) : 4.0F * unit(random));
        lights.ratio_b.push_back(plausible ? 1.3F - 0.7F * t + 0.02F * unit(random) : 4.0F * unit(random));
        lights.temp_k.push_back(plausible ? 2500.0F + 5000.0F * t : 20000.0F * unit(random) + 1.0F);
        lights.weight.push_back(static_cast<uint8_t>(random() % 73));
    }
    return lights;
}

TEST(WhiteBalanceCurve, MatchesThePlainFit) {
    const SavedModuleState saved;
    Random random(70);
    for (int turn = 0; turn < 400; ++turn) {
        SCOPED_TRACE(turn);
        const Lights lights = random_lights(random, turn % 2 == 0);
        const float norm_a = 0.5F + unit(random);
        const float norm_b = 0.5F + unit(random);
        const auto expected =
            reference::build_curve(norm_a, norm_b, lights.ratio_a, lights.ratio_b, lights.temp_k, lights.weight);
        AwbCurveRecord record{};
        CapturedOutput output;
        ASSERT_EQ(lights.build(norm_a, norm_b, record), 0);
        ASSERT_EQ(output.take(), expected.printed);
        ASSERT_TRUE(same_bits(expected.coefficients, std::array{record.a, record.b, record.c}));
        ASSERT_TRUE(same_bits(expected.pack, std::to_array(record.pack.word)));

        const std::array<float, 2> ref_a = {-1, 900.0F + 300.0F * unit(random)};
        const std::array<float, 2> ref_b = {-1, turn % 50 == 1 ? 0.0F : 700.0F * unit(random)};
        std::vector<float> table(200);
        ASSERT_EQ(cali_awb_getCurve(table.data(), ref_a.data(), ref_b.data()), 0);
        ASSERT_TRUE(same_bits(reference::sample_curve(expected.coefficients, ref_a[1], ref_b[1]), table));
    }
}

TEST(RecordedCalls, WhiteBalanceCurve) {
    expect_recorded("awb.curve", 1000, [](Random& random, int turn, Digest& digest) {
        const Lights lights = random_lights(random, turn % 2 == 0);
        const float norm_a = 0.5F + unit(random);
        const float norm_b = 0.5F + unit(random);
        AwbCurveRecord record{};
        digest << lights.build(norm_a, norm_b, record) << record.a << record.b << record.c << record.pack.word;
        const std::array<float, 2> ref_a = {-1, 900.0F + 300.0F * unit(random)};
        const std::array<float, 2> ref_b = {-1, turn % 50 == 1 ? 0.0F : 700.0F * unit(random)};
        std::vector<float> table(200);
        digest << cali_awb_getCurve(table.data(), ref_a.data(), ref_b.data()) << table;
    });
}

TEST(WhiteBalanceCurve, RejectsWithItsOwnTexts) {
    const SavedModuleState saved;
    module_state().awb_curve = {1, 2, 3};
    const std::vector<float> ratios(8, 1.0F);
    const auto expect_warning = [&](const Lights& lights, const char* text) {
        AwbCurveRecord record{7, 7, 7, {{7, 7, 7}}};
        CapturedOutput output;
        const CapturedWarnings warnings;
        EXPECT_EQ(lights.build(1, 1, record), -1);
        EXPECT_EQ(warnings.texts(), std::vector<std::string>{std::string("WB Calib Warning: ") + text});
        EXPECT_EQ(output.take(), "");
        EXPECT_EQ(record.a, 7);
        EXPECT_EQ(module_state().awb_curve.a, 1);
    };
    expect_warning({ratios, ratios, ratios, std::vector<uint8_t>(8, 1)}, "Amount is Over");
    expect_warning({ratios, ratios, {5000, 0, 5000}, {1, 0, 1}}, "TempK is 0");
    expect_warning({ratios, ratios, ratios, {255, 255, 2}}, "Total Weight is too big");

    // The most that is taken, and a curve that has never been built.
    AwbCurveRecord record{};
    CapturedOutput output;
    EXPECT_EQ((Lights{ratios, ratios, ratios, {255, 255, 1}}.build(1, 1, record)), 0);
    module_state().awb_curve = {};
    std::vector<float> table(200, -1.0F);
    EXPECT_EQ(cali_awb_getCurve(table.data(), ratios.data(), ratios.data()), 0);
    EXPECT_EQ(table, std::vector<float>(200, 0.0F));
}

}  // namespace
}  // namespace cali::test
