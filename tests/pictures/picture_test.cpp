#include "pictures/picture.h"

#include <algorithm>

#include "pictures/raw_picture.h"
#include "support/support.h"

namespace cali::test {
namespace {

/// Header and bytes of a picture file.
std::string ppm(int width, int height, const std::vector<uint8_t>& bytes) {
    return reference::text("P6 %d %d 255\n", width, height) + std::string(bytes.begin(), bytes.end());
}

TEST(PictureWriters, FollowTheirRules) {
    const TemporaryDirectory directory;
    CapturedOutput output;
    // Full scale is 256 before the byte: gone in red and blue, halved with the other green.
    const OwnedFrame full{{4096, 2048, 4096, 4096}, 2, 2, 2};
    write_ppm_cells("picture.ppm", OwnedPicture(2, 2).get(), full.view(), 4096);
    EXPECT_EQ(read_file("picture.ppm"), ppm(2, 2, {128, 0, 0, 128, 0, 0, 128, 0, 0, 128, 0, 0}));
    // Codes of 16 times the wanted bytes; absent photosites of the last cells count as 0.
    const OwnedFrame odd{{160, 320, 480, 640, 800, 960, 1120, 1280, 1440}, 3, 3, 3};
    write_ppm_cells("picture.ppm", OwnedPicture(3, 3).get(), odd.view(), 4096);
    EXPECT_EQ(read_file("picture.ppm"), ppm(3, 3, {10, 30, 50, 10, 30, 50, 30, 30, 0,  10, 30, 50, 10, 30,
                                                   50, 30, 30, 0,  70, 40, 0,  70, 40, 0,  90, 0,  0}));
    const std::vector<uint32_t> red = {0, 4, 1023};
    const std::vector<uint32_t> green = {1024, 512, 3};
    const std::vector<uint32_t> blue = {65535, 1000000, 7};
    write_ppm_planes("picture.ppm", OwnedPicture(3, 1).get(), {red.data(), green.data(), blue.data()}, 1024);
    EXPECT_EQ(read_file("picture.ppm"), ppm(3, 1, {0, 255, 255, 1, 128, 255, 255, 0, 1}));
    const OwnedFrame mosaic{{160, 320, 480, 640, 4096, 4096 + 16}, 3, 2, 1};  // GB BB GB over RR GR RR
    const OwnedPicture picture(3, 2);
    std::fill_n(picture.get().rgb, 18, uint8_t{99});
    write_ppm_mosaic("mosaic.ppm", picture.get(), mosaic.view(), 4096);
    EXPECT_EQ(read_file("mosaic.ppm"), ppm(3, 2, {0, 10, 0, 0, 0, 20, 0, 30, 0, 40, 0, 0, 0, 0, 0, 1, 0, 0}));
    // Twice its header, and what the last pixel leaves past its place.
    const std::vector<uint8_t> wide = {1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 16};
    write_ppm_wide("wide.ppm", wide.data(), 2, 1);
    EXPECT_EQ(read_file("wide.ppm").substr(0, 17), ppm(2, 1, {1, 0, 3, 11, 0, 13}));
    EXPECT_EQ(read_file("wide.ppm").size(), ppm(2, 1, {}).size() + 12);
    const std::string printed = "output ppm to picture.ppm\n";
    EXPECT_EQ(output.take(), printed + printed + printed + "output ppm to mosaic.ppm\noutput ppm to wide.ppm\n");
}

TEST(RawPicture, HasEightBits) {
    const TemporaryDirectory directory;
    CapturedOutput output;
    const OwnedFrame frame{{5000, 1600, 1632, 4095}, 2, 2, 3};
    write_raw_picture(frame.view(), {});
    EXPECT_EQ(read_file("raw2rgb.ppm").substr(0, 23), ppm(2, 2, {255, 0, 101, 255, 0, 100, 255, 0, 102, 255, 0, 101}));
}

}  // namespace
}  // namespace cali::test
