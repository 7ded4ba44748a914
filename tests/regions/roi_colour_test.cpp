#include "regions/roi_colour.h"

#include <cmath>

#include "support/support.h"

namespace cali::test {
namespace {

RoiRgbMean grey(double code) { return {code, code, code, 1, 0}; }

TEST(RegionColour, IsTheMeanOfItsPixels) {
    // 3 x 2 pixels: blue 0, 1, ... 5, green ten times, red 40 times that.
    std::vector<uint8_t> image(3 * 6);
    for (std::size_t i = 0; i < image.size(); ++i) {
        image[i] = static_cast<uint8_t>(i / 3 * std::array{1U, 10U, 40U}[i % 3]);
    }
    const std::vector<RoiRect> rois = {{0, 0, 3, 2}, {1, 0, 2, 2}, {2, 1, 1, 1}, {0, 0, 0, 3}, {0, 0, 3, -1}};
    std::vector<RoiRgbMean> means(rois.size(), {7, 7, 7, 7, 7});
    ASSERT_EQ(cali_roi_rgb_cal(image.data(), 3, -5, means.data(), rois.data(), 5), 0);
    const std::array mean = {2.5, 3.0, 5.0};
    for (std::size_t k = 0; k < 5; ++k) {
        EXPECT_TRUE(k < 3 ? means[k].b == mean[k] && means[k].g == 10 * mean[k] && means[k].r == 40 * mean[k]
                          : std::isnan(means[k].b) && std::isnan(means[k].g) && std::isnan(means[k].r))
            << k;
        EXPECT_EQ(means[k].valid, 1);
        EXPECT_EQ(means[k].reserved, 0);
    }
    EXPECT_EQ(cali_roi_rgb_cal(nullptr, 3, 0, nullptr, nullptr, 0), 0);
}

/// Colours on one line, greys on another, which only a fit of their own finds, or lightness, but for its rounded
/// coefficients.
TEST(ColourAdjustment, UndoesALinePerChannel) {
    std::vector<RoiRgbMean> measured;
    std::vector<RoiRgbMean> wanted;
    for (int i = 0; i < 24; ++i) {
        const double k = i;
        measured.push_back(i < 18 ? RoiRgbMean{10 + 5 * k, 20 + 3 * k, 100 + 2 * k, 1, 0} : grey(30 * k - 530));
        wanted.push_back(i < 18 ? RoiRgbMean{14 + 2.5 * k, 30 + 4.5 * k, 80 + 2 * k, 1, 0} : grey(40 * k - 700));
    }
    for (const uint32_t mode : {2U, 0U}) {
        std::vector<RoiRgbMean> adjusted(24);
        ASSERT_EQ(cali_roi_rgb_adjust(measured.data(), wanted.data(), adjusted.data(), 24, mode), 0);
        for (std::size_t i = 0; i < 24; ++i) {
            for (const auto channel : {&RoiRgbMean::b, &RoiRgbMean::g, &RoiRgbMean::r}) {
                EXPECT_NEAR(adjusted[i].*channel, wanted[i].*channel, mode == 0 && i >= 18 ? 0.5 : 1e-9) << i;
            }
        }
    }
}

/// Measured greys 110 and 10 around a colour, their references 200 and 0.
std::vector<double> inserted(uint32_t step, float fraction, uint32_t most) {
    std::vector<RoiRgbMean> measured = {grey(110), {200, 0, 0, 1, 0}, grey(10)};
    std::vector<RoiRgbMean> wanted = {grey(200), grey(99), grey(0)};
    measured.resize(20);
    wanted.resize(20);
    const GrayInterpSettings settings{10, step, fraction, most};
    uint32_t count = 0;
    CapturedOutput output;
    EXPECT_EQ(cali_roi_rgb_interpolation(measured.data(), wanted.data(), 3, &settings, &count), 0);
    EXPECT_EQ(output.take(), count == 3 && most != 0 ? "ERROR\n" : "");
    std::vector<double> codes;
    for (std::size_t i = 3; i < count; ++i) {
        EXPECT_NEAR(wanted[i].g, 2 * (measured[i].g - 10), 1e-9);
        codes.push_back(std::round(100 * measured[i].b) / 100);
    }
    return codes;
}

TEST(GreyPairs, AreInsertedByStep) {
    EXPECT_EQ(inserted(30, 0.5F, 9), (std::vector<double>{35, 60, 85}));      // 100 / 30, the rest of 10 too small
    EXPECT_EQ(inserted(30, 0.3F, 9), (std::vector<double>{30, 50, 70, 90}));  // the rest above 9
    EXPECT_EQ(inserted(25, 0.0F, 9), (std::vector<double>{30, 50, 70, 90}));  // no rest
    EXPECT_EQ(inserted(30, 0.5F, 1), (std::vector<double>{60}));              // widened to 68
    EXPECT_EQ(inserted(4, 0.0F, 1), (std::vector<double>{}));                 // 64 after all widenings: still 2
    EXPECT_EQ(inserted(30, 0.5F, 0), (std::vector<double>{}));
}

}  // namespace
}  // namespace cali::test
