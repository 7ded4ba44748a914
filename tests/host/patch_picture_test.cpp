#include "patch_picture.h"

#include <gtest/gtest.h>
#include <png.h>

#include <limits>

#include "core/chart_table.h"
#include "error.h"
#include "program.h"

namespace cali::test {
namespace {

TEST(PatchPicture, ShowsMeasuredCorrectedAndReferenceStripes) {
    const TemporaryFolder folder;
    std::vector<Colour> measured(24, Colour{0.0, 0.5, 1.0});
    measured[8] = {-1, 7, std::numeric_limits<double>::quiet_NaN()};
    const std::vector<Colour> corrected(24, Colour{0.002, 0.2, 0.8});
    std::vector<Colour> reference;
    for (const auto& encoded : kChartSrgb24) {
        reference.push_back({srgb_decode(encoded[0]), srgb_decode(encoded[1]), srgb_decode(encoded[2])});
    }
    host::write_patch_picture(folder / "patches.png", measured, corrected, reference);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"patches.png"});

    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_NE(png_image_begin_read_from_file(&image, (folder / "patches.png").c_str()), 0) << image.message;
    EXPECT_EQ(image.width, 632U);
    EXPECT_EQ(image.height, 424U);
    image.format = PNG_FORMAT_RGB;
    std::vector<uint8_t> pixels(std::size_t{632} * 424 * 3);
    ASSERT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0) << image.message;
    const auto pixel = [&](std::size_t x, std::size_t y) {
        const uint8_t* const at = &pixels[(y * 632 + x) * 3];
        return std::array<int, 3>{at[0], at[1], at[2]};
    };
    using Code = std::array<int, 3>;
    const Code gap = pixel(0, 0);
    EXPECT_LT(gap[0], 52);  // the darkest patch
    EXPECT_EQ(pixel(8, 8), (Code{0, 188, 255}));
    EXPECT_EQ(pixel(39, 103), (Code{0, 188, 255}));
    EXPECT_EQ(pixel(40, 8), (Code{7, 124, 231}));
    EXPECT_EQ(pixel(72, 8), (Code{115, 82, 68}));
    EXPECT_EQ(pixel(103, 103), (Code{115, 82, 68}));
    EXPECT_EQ(pixel(104, 103), gap);
    EXPECT_EQ(pixel(103, 104), gap);
    EXPECT_EQ(pixel(8 + 2 * 104, 8 + 104), (Code{0, 255, 0}));  // patch 9, clamped
    EXPECT_EQ(pixel(623, 415), (Code{52, 52, 52}));             // the last cell's last pixel
    EXPECT_EQ(pixel(631, 423), gap);
}

TEST(PatchPicture, FolderThatDoesNotExist) {
    const TemporaryFolder folder;
    const std::vector<Colour> colours(24, Colour{});
    try {
        host::write_patch_picture(folder / "none" / "patches.png", colours, colours, colours);
        ADD_FAILURE() << "no error";
    } catch (const host::InputError& problem) {
        EXPECT_NE(std::string(problem.what()).find("patches.png: cannot be written"), std::string::npos);
    }
    EXPECT_TRUE(folder.names().empty());
}

}  // namespace
}  // namespace cali::test
