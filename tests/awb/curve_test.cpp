#include "cali/cali.h"
#include "support/support.h"

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
