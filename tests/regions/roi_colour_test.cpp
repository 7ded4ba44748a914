#include <algorithm>
#include <cmath>
#include <limits>

#include "cali/cali.h"
#include "reference/colour.h"
#include "support/support.h"

namespace cali::test {
namespace {

double code(Random& random) { return static_cast<double>(random() % 25500) / 100; }

std::vector<RoiRgbMean> random_colours(Random& random, std::size_t count, double most_chroma) {
    std::vector<RoiRgbMean> colours;
    for (std::size_t i = 0; i < count; ++i) {
        const double grey = code(random);
        const auto channel = [&] { return std::clamp(grey + most_chroma * (code(random) / 255 - 0.5), 0.0, 255.0); };
        colours.push_back({channel(), channel(), channel(), 9, 9});
    }
    return colours;
}

void expect_same(const std::vector<RoiRgbMean>& expected, const std::vector<RoiRgbMean>& found) {
    ASSERT_EQ(expected.size(), found.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_TRUE(same_bits(std::array{expected[i].b, expected[i].g, expected[i].r},
                              std::array{found[i].b, found[i].g, found[i].r}))
            << i;
        ASSERT_EQ(expected[i].valid, found[i].valid) << i;
        ASSERT_EQ(expected[i].reserved, found[i].reserved) << i;
    }
}

TEST(RegionColour, IsTheMeanOfItsPixels) {
    std::vector<uint8_t> image(7 * 5 * 3);
    for (std::size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i * 37 % 251);
    }
    const std::vector<RoiRect> rois = {{0, 0, 7, 5}, {2, 1, 3, 2}, {6, 4, 1, 1}, {0, 0, 0, 3}, {0, 0, 3, -1}};
    std::vector<RoiRgbMean> means(rois.size());
    ASSERT_EQ(cali_roi_rgb_cal(image.data(), 7, -5, means.data(), rois.data(), static_cast<int32_t>(rois.size())), 0);
    for (std::size_t k = 0; k < 3; ++k) {
        std::array<double, 3> sum{};
        double count = 0;
        for (int y = rois[k].y; y < rois[k].y + rois[k].h; ++y) {
            for (int x = rois[k].x; x < rois[k].x + rois[k].w; ++x, ++count) {
                for (std::size_t c = 0; c < 3; ++c) {
                    sum[c] += image[static_cast<std::size_t>(3 * (y * 7 + x)) + c];
                }
            }
        }
        EXPECT_EQ(means[k].b, sum[0] / count);
        EXPECT_EQ(means[k].g, sum[1] / count);
        EXPECT_EQ(means[k].r, sum[2] / count);
        EXPECT_EQ(means[k].valid, 1);
    }
    EXPECT_TRUE(std::isnan(means[3].g) && std::isnan(means[4].g));
    EXPECT_EQ(means[4].valid, 1);
    EXPECT_EQ(cali_roi_rgb_cal(nullptr, 7, 0, nullptr, nullptr, 0), 0);
}

TEST(ColourAdjustment, MatchesThePlainOne) {
    Random random(81);
    for (int turn = 0; turn < 200; ++turn) {
        const std::size_t count = turn % 3 == 0 ? 1 + random() % 30 : 24;
        const auto mode = static_cast<uint32_t>(turn % 4);
        SCOPED_TRACE(::testing::Message() << count << " records, mode " << mode);
        const auto measured = random_colours(random, count, turn % 5 == 0 ? 0 : 200);
        const auto wanted = turn % 7 == 0 ? measured : random_colours(random, count, 100);
        std::vector<RoiRgbMean> expected(count, {-1, -1, -1, 3, 4});
        auto found = expected;
        reference::adjust(measured, wanted, expected, mode);
        ASSERT_EQ(cali_roi_rgb_adjust(measured.data(), wanted.data(), found.data(), static_cast<uint32_t>(count), mode),
                  0);
        expect_same(expected, found);
    }
}

TEST(GreyPairs, MatchThePlainInterpolation) {
    Random random(82);
    for (int turn = 0; turn < 400; ++turn) {
        SCOPED_TRACE(turn);
        const std::size_t count = random() % 12;
        auto measured = random_colours(random, count, turn % 4 * 12);
        auto wanted = random_colours(random, count, 0);
        if (turn % 10 == 0 && count > 2) {
            measured[1].g = std::numeric_limits<double>::quiet_NaN();
        }
        const GrayInterpSettings settings{
            static_cast<uint16_t>(random() % 40), 1 + static_cast<uint32_t>(random()) % 40,
            static_cast<float>(random() % 120) / 100.0F, static_cast<uint32_t>(random()) % 30};
        const auto expected = reference::interpolate(measured, wanted, settings);
        measured.resize(count + settings.max_add);
        wanted.resize(count + settings.max_add);
        uint32_t out_count = 77;
        CapturedOutput output;
        ASSERT_EQ(cali_roi_rgb_interpolation(measured.data(), wanted.data(), static_cast<uint32_t>(count), &settings,
                                             &out_count),
                  expected.result);
        ASSERT_EQ(output.take(), expected.printed);
        ASSERT_EQ(out_count, expected.out_count);
        measured.resize(expected.measured.size());
        wanted.resize(expected.reference.size());
        expect_same(expected.measured, measured);
        expect_same(expected.reference, wanted);
    }
}

TEST(GreyPairs, StepOfZeroIsRejected) {
    std::vector<RoiRgbMean> pairs(2);
    uint32_t out_count = 7;
    const CapturedWarnings warnings;
    const GrayInterpSettings still{10, 0, 0.5F, 5};
    EXPECT_EQ(cali_roi_rgb_interpolation(pairs.data(), pairs.data(), 2, &still, &out_count), -1);
    EXPECT_EQ(out_count, 7U);
    const GrayInterpSettings nothing_to_add{10, 0, 0.5F, 0};
    EXPECT_EQ(cali_roi_rgb_interpolation(nullptr, nullptr, 9, &nothing_to_add, &out_count), 0);
    EXPECT_EQ(out_count, 9U);
    EXPECT_EQ(warnings.texts(),
              std::vector<std::string>{"ROI Calib Warning: cali_roi_rgb_interpolation: step is 0, expected 1 or more"});
}

}  // namespace
}  // namespace cali::test
