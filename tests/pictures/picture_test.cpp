#include "pictures/picture.h"

#include <algorithm>

#include "support/support.h"

namespace cali::test {
namespace {

/// Header and bytes of a picture file.
std::string ppm(int width, int height, const std::vector<uint8_t>& bytes) {
    return reference::text("P6 %d %d 255\n", width, height) + std::string(bytes.begin(), bytes.end());
}

TEST(PictureWriters, CellsTakeOneColour) {
    const TemporaryDirectory directory;
    const OwnedFrame worked{{4095, 2048, 2048, 0}, 2, 2, 3};
    // Full scale is 256 before the byte: gone in red and blue, halved with the other green.
    const OwnedFrame full{{4096, 2048, 4096, 4096}, 2, 2, 2};
    // 3 x 3 of codes 16 times the wanted bytes; absent photosites of the last cells count as 0.
    const OwnedFrame odd{{160, 320, 480, 640, 800, 960, 1120, 1280, 1440}, 3, 3, 3};
    CapturedOutput output;
    write_ppm_cells("worked.ppm", OwnedPicture(2, 2).get(), worked.view(), 4096);
    write_ppm_cells("full.ppm", OwnedPicture(2, 2).get(), full.view(), 4096);
    write_ppm_cells("odd.ppm", OwnedPicture(3, 3).get(), odd.view(), 4096);
    EXPECT_EQ(output.take(), "output ppm to worked.ppm\noutput ppm to full.ppm\noutput ppm to odd.ppm\n");
    EXPECT_EQ(read_file("worked.ppm"), ppm(2, 2, {255, 128, 0, 255, 128, 0, 255, 128, 0, 255, 128, 0}));
    EXPECT_EQ(read_file("full.ppm"), ppm(2, 2, {128, 0, 0, 128, 0, 0, 128, 0, 0, 128, 0, 0}));
    EXPECT_EQ(read_file("odd.ppm"), ppm(3, 3, {10, 30, 50, 10, 30, 50, 30, 30, 0,  10, 30, 50, 10, 30,
                                               50, 30, 30, 0,  70, 40, 0,  70, 40, 0,  90, 0,  0}));
}

TEST(PictureWriters, PlanesAreLimited) {
    const TemporaryDirectory directory;
    const std::vector<uint32_t> red = {0, 4, 1023};
    const std::vector<uint32_t> green = {1024, 512, 3};
    const std::vector<uint32_t> blue = {65535, 1000000, 7};
    CapturedOutput output;
    write_ppm_planes("planes.ppm", OwnedPicture(3, 1).get(), {red.data(), green.data(), blue.data()}, 1024);
    EXPECT_EQ(output.take(), "output ppm to planes.ppm\n");
    EXPECT_EQ(read_file("planes.ppm"), ppm(3, 1, {0, 255, 255, 1, 128, 255, 255, 0, 1}));
}

TEST(PictureWriters, MosaicKeepsEachColourApart) {
    const TemporaryDirectory directory;
    const OwnedFrame frame{{160, 320, 480, 640, 4096, 4096 + 16}, 3, 2, 1};  // GB BB GB over RR GR RR
    const OwnedPicture picture(3, 2);
    std::fill_n(picture.get().rgb, 18, uint8_t{99});
    CapturedOutput output;
    write_ppm_mosaic("mosaic.ppm", picture.get(), frame.view(), 4096);
    EXPECT_EQ(output.take(), "output ppm to mosaic.ppm\n");
    EXPECT_EQ(read_file("mosaic.ppm"), ppm(3, 2, {0, 10, 0, 0, 0, 20, 0, 30, 0, 40, 0, 0, 0, 0, 0, 1, 0, 0}));
}

TEST(PictureWriters, WideFileIsTwiceItsHeader) {
    const TemporaryDirectory directory;
    const std::vector<uint8_t> pixels = {1, 2, 3, 4, 5, 6, 11, 12, 13, 14, 15, 16, 21, 22, 23, 24, 25, 26};
    CapturedOutput output;
    write_ppm_wide("wide.ppm", pixels.data(), 3, 1);
    EXPECT_EQ(output.take(), "output ppm to wide.ppm\n");
    std::string file = read_file("wide.ppm");
    const std::string header = "P6 3 1 255\n";
    ASSERT_EQ(file.size(), header.size() + 18);
    file.replace(header.size() + 9, 3, 3, '\0');  // what the last pixel leaves past its place
    EXPECT_EQ(file, ppm(3, 1, {1, 0, 3, 11, 0, 13, 21, 0, 23, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(PictureWriters, ReplaceTheFile) {
    const TemporaryDirectory directory;
    const std::vector<uint32_t> plane(100, 0);
    CapturedOutput output;
    write_ppm_planes("same.ppm", OwnedPicture(10, 10).get(), {plane.data(), plane.data(), plane.data()}, 1024);
    write_ppm_planes("same.ppm", OwnedPicture(1, 1).get(), {plane.data(), plane.data(), plane.data()}, 1024);
    EXPECT_EQ(read_file("same.ppm"), ppm(1, 1, {0, 0, 0}));
}

}  // namespace
}  // namespace cali::test
