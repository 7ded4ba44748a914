#include <cmath>

#include "cali/cali.h"
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

/// From warm to cool along a plausible locus, or anything.
Lights random_lights(Random& random, bool plausible) {
    const auto unit = [&] { return static_cast<float>(random.unit()); };
    Lights lights;
    const std::size_t count = random() % 8;
    for (std::size_t i = 0; i < count; ++i) {
        const float t = static_cast<float>(i) / 7.0F;
        lights.ratio_a.push_back(plausible ? 0.4F + 0.8F * t + 0.02F * unit() : 4.0F * unit());
        lights.ratio_b.push_back(plausible ? 1.3F - 0.7F * t + 0.02F * unit() : 4.0F * unit());
        lights.temp_k.push_back(plausible ? 2500.0F + 5000.0F * t : 20000.0F * unit());
        lights.weight.push_back(static_cast<uint8_t>(random() % (random() % 9 == 0 ? 256 : 73)));
    }
    return lights;
}

TEST(RecordedCalls, WhiteBalanceCurve) {
    expect_recorded("awb.curve", 1000, [](Random& random, int turn, Digest& digest) {
        if (turn == 0) {
            module_state().awb_curve = {};
        }
        // Of the record before, which a rejected one does not replace; none at first.
        const std::array<float, 2> ref_a = {-1, static_cast<float>(900 + random.within(0, 300))};
        const std::array<float, 2> ref_b = {-1, static_cast<float>(turn % 50 == 1 ? 0 : random.within(1, 700))};
        std::vector<float> table(200);
        digest << cali_awb_getCurve(table.data(), ref_a.data(), ref_b.data()) << table;
        const Lights lights = random_lights(random, turn % 2 == 0);
        const auto norm_a = static_cast<float>(0.5 + random.unit());
        const auto norm_b = static_cast<float>(0.5 + random.unit());
        AwbCurveRecord record{7, 7, 7, {{7, 7, 7}}};
        digest << lights.build(norm_a, norm_b, record) << record.a << record.b << record.c << record.pack.word;
    });
}

TEST(WhiteBalanceCurve, ExactPointsGiveTheirParabola) {
    // y = x^2 / 4 - x / 2 + 1, and a light without weight far off it.
    Lights lights{{2, 1, 0.5F, 0.25F, 0.4F}, {}, {2500, 3000, 5000, 6500, 4000}, {1, 40, 3, 200, 0}};
    for (const float ratio : lights.ratio_a) {
        const float x = 1 / ratio;
        lights.ratio_b.push_back(1 / (x * x / 4 - x / 2 + 1));
    }
    lights.ratio_b.back() = 7;
    const SavedModuleState saved;
    AwbCurveRecord record{};
    CapturedOutput output;
    ASSERT_EQ(lights.build(1, 1, record), 0);
    EXPECT_NEAR(record.a, 0.25F, 1e-4);
    EXPECT_NEAR(record.b, -0.5F, 1e-4);
    EXPECT_NEAR(record.c, 1, 1e-4);
}

}  // namespace
}  // namespace cali::test
