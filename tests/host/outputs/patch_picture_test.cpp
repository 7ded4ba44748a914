#include "outputs/patch_picture.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cmath>

#include "support/program.h"

namespace cali::test {
namespace {

using Triple = std::array<double, 3>;

TEST(PatchPicture, ShowsMeasuredCorrectedAndReferenceStripes) {
    const TemporaryFolder folder;
    std::vector<Triple> measured(24, Triple{0.0, 0.5, 1.0});
    measured[8] = {-1, 7, std::nan("")};
    const std::vector<Triple> corrected(24, Triple{0.002, 0.2, 0.8});
    const std::vector<Triple> reference(24, Triple{1.0, 0.05, 0.0});
    write_text(folder / "patches.png", host::patch_picture({measured, corrected, reference}));

    const std::string file = read_text(folder / "patches.png");
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_memory(&image, file.data(), file.size()), 0) << image.message;
    ASSERT_EQ(std::pair(image.width, image.height), std::pair(632U, 424U));
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> pixels(std::size_t{632} * 424 * 3);
    ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0) << image.message;
    const auto pixel = [&](std::size_t x, std::size_t y) {
        const uint8_t* const at = &pixels[(y * 632 + x) * 3];
        return std::array<int, 3>{at[0], at[1], at[2]};
    };
    using Code = std::array<int, 3>;
    EXPECT_LT(pixel(0, 0)[0], 52);  // the darkest patch
    EXPECT_EQ(pixel(8, 8), (Code{0, 188, 255}));
    EXPECT_EQ(pixel(40, 8), (Code{7, 124, 231}));
    EXPECT_EQ(pixel(103, 103), (Code{255, 63, 0}));
    EXPECT_EQ(pixel(104, 103), pixel(0, 0));
    EXPECT_EQ(pixel(8 + 2 * 104, 8 + 104), (Code{0, 255, 0}));  // patch 9, clamped
    EXPECT_EQ(pixel(623, 415), (Code{255, 63, 0}));             // the last cell's last pixel
}

}  // namespace
}  // namespace cali::test
