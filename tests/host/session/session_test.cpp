#include "session/session.h"

#include <gtest/gtest.h>

#include "base/error.h"
#include "support/program.h"

namespace cali::test {
namespace {

std::string error_of(const std::string& text) {
    const TemporaryFolder folder;
    write_text(folder / "s.toml", text);
    return refusal([&] { (void)host::read_session(folder / "s.toml"); });
}

TEST(Session, ReadsEverySection) {
    const TemporaryFolder folder;
    write_text(folder / "s.toml", R"(
[sensor]
width = 640
height = 480
pattern = "grbg"
bits = 10
stride_bytes = 1280
header_bytes = 16
byte_order = "big"
packing = "raw10"
[captures]
dark = ["d1.raw", { files = ["sub/d2.raw", "d3.raw"], gain = 4, exposure_ms = 12.5 }]
flat = "flat.pgm"
grey = [{ file = "g.raw", illuminant_k = 5000 }, "plain.raw"]
chart = [{ file = "c.raw", illuminant_k = 6500.5 }]
series = [{ files = ["a", "b"] }, { files = "c", gain = 2 }]
[black_level]
method = "mean_deviation"
[white_balance]
window = [10, 20, 30, 40]
[lens_shading]
grid = [17, 13]
type = "luma"
denoise = true
[noise]
window = [2, 4, 6, 8]
ref_level = 300
slope_format = "U2.10"
level_format = "U9.0"
[colour_matrix]
method = "optimised"
white = "D50"
saturation = 1.5
corners = [[1, -0.5], [30, 4], [31, 32], [5, 33.5]]
)");
    const host::Session session = host::read_session(folder / "s.toml");
    EXPECT_EQ(session.geometry.width, 640);
    EXPECT_EQ(session.geometry.height, 480);
    EXPECT_EQ(session.geometry.pattern, 2);
    EXPECT_EQ(session.geometry.bits, 10);
    EXPECT_EQ(session.geometry.layout.stride_bytes, 1280);
    EXPECT_EQ(session.geometry.layout.header_bytes, 16);
    EXPECT_EQ(session.geometry.layout.big_endian, true);
    EXPECT_EQ(session.geometry.layout.packing, host::Packing::raw10);
    ASSERT_EQ(session.dark.size(), 2U);
    EXPECT_EQ(session.dark[0].files, std::vector<std::filesystem::path>{folder / "d1.raw"});
    EXPECT_EQ(session.dark[1].files, (std::vector<std::filesystem::path>{folder / "sub/d2.raw", folder / "d3.raw"}));
    EXPECT_EQ(session.dark[1].taken.gain, 4.0);
    EXPECT_EQ(session.dark[1].exposure_ms, 12.5);
    ASSERT_EQ(session.flat.size(), 1U);
    EXPECT_EQ(session.flat[0].file(), folder / "flat.pgm");
    ASSERT_EQ(session.grey.size(), 2U);
    EXPECT_EQ(session.grey[0].taken.illuminant_k, 5000.0);
    EXPECT_FALSE(session.grey[1].taken.illuminant_k.has_value());
    EXPECT_EQ(session.chart[0].taken.illuminant_k, 6500.5);
    ASSERT_EQ(session.series.size(), 2U);
    EXPECT_EQ(session.series[0].files.size(), 2U);
    EXPECT_EQ(session.series[1].gain, 2.0);
    EXPECT_EQ(session.series[1].files, std::vector<std::filesystem::path>{folder / "c"});
    EXPECT_EQ(session.black_level_method, host::BlackLevelMethod::mean_deviation);
    const auto sides = [](const host::Window& w) { return std::array{w.x, w.y, w.width, w.height}; };
    ASSERT_TRUE(session.white_balance_window && session.noise.window && session.matrix.place.corners);
    EXPECT_EQ(sides(*session.white_balance_window), (std::array{10, 20, 30, 40}));
    EXPECT_EQ(sides(*session.noise.window), (std::array{2, 4, 6, 8}));
    EXPECT_EQ((std::array{session.shading.cols, session.shading.rows}), (std::array{17, 13}));
    EXPECT_EQ(session.shading.type, host::ShadingType::luma);
    EXPECT_TRUE(session.shading.denoise);
    EXPECT_EQ(session.noise.ref_level, 300);
    EXPECT_EQ(session.noise.slope_format + session.noise.level_format, "U2.10U9.0");
    EXPECT_EQ(session.matrix.method, host::MatrixMethod::optimised);
    EXPECT_EQ(session.matrix.white_point, 50);
    EXPECT_EQ(session.matrix.saturation, 1.5F);
    EXPECT_EQ((*session.matrix.place.corners)[0].y, -0.5);
    EXPECT_EQ((*session.matrix.place.corners)[3].x, 5);
    EXPECT_EQ((*session.matrix.place.corners)[3].y, 33.5);
}

TEST(Session, ErrorsNameTheKeyAndWhatWasExpected) {
    const std::pair<const char*, const char*> cases[] = {
        {"[sensor\n", "not valid TOML"},
        {"[sensor]\nwidht = 3\n", "sensor: unknown key 'widht' in line 2, expected one of width height pattern bits"},
        {"[sensors]\n", "unknown key 'sensors' in line 1, expected one of truth sensor captures"},
        {"sensor = 3\n", "sensor is the whole number 3, expected a table"},
        {"[sensor]\nwidth = \"wide\"\n", "width is the text 'wide', expected a whole number"},
        {"[sensor]\nwidth = 0\n", "width is 0, expected 1 to 65535"},
        {"[sensor]\nbits = 17\n", "bits is 17, expected 8 to 16"},
        {"[sensor]\npattern = \"RGB\"\n", "pattern is 'RGB', expected BGGR, GBRG, GRBG, RGGB or MONO"},
        {"[captures]\ndark = [{ files = [\"a\", 1] }]\n",
         "files is the whole number 1, expected a file name or a list"},
        {"[captures]\ndark = [{ file = \"a\", illuminant_k = 5000 }]\n", "unknown key 'illuminant_k'"},
        {"[captures]\ngrey = [{ file = \"a\", kelvin = 5000 }]\n", "unknown key 'kelvin'"},
        {"[black_level]\nmethod = \"mode\"\n", "method is 'mode', expected median, mean or mean_deviation"},
        {"[white_balance]\nwindow = [1, 2, 3]\n", "window is a list of 3, expected [x, y, width, height]"},
        {"[white_balance]\nwindow = [1, 2, 3, -4]\n", "window is -4, expected 0 to 65535"},
        {"[lens_shading]\ngrid = [129, 129]\n", "grid has 16641 nodes, expected at most 4761"},
        {"[lens_shading]\ngrid = [3, 13]\n", "grid: columns is 3, expected 4 to 129"},
        {"[lens_shading]\ndenoise = \"yes\"\n", "denoise is the text 'yes', expected true or false"},
        {"[noise]\nref_level = 4096\n", "ref_level is 4096, expected 0 to 4095"},
        {"[noise]\nslope_format = \"U4\"\n", "slope_format is 'U4', expected a format such as U4.8"},
        {"[noise]\nlevel_format = \"U20.12\"\n", "of at most 31 bits"},
        {"[colour_matrix]\nsaturation = nan\n", "saturation is nan, expected 0 to 4"},
        {"[captures]\nseries = [{ files = [\"a\"], name = \"dark\" }]\n", "series: unknown key 'name'"},
        {"[captures]\ngrey = [{ file = \"a\", illuminant_k = 900 }]\n", "illuminant_k is 900, expected 1000 to 40000"},
        {"[black_level]\noffset = 4096\n", "offset is 4096, expected 0 to 4095"},
        {"[limits]\ndark_level = [800, 500]\n", "dark_level is [800, 500], expected two finite numbers"},
        {"[limits]\ndark_level = 3\n", "dark_level is the whole number 3, expected two numbers, [warn, fail]"},
        {"[captures]\nseries = [{ glob = \"none*\" }]\n", "none*: matches no file"},
    };
    for (const auto& [text, expected] : cases) {
        SCOPED_TRACE(text);
        EXPECT_NE(error_of(text).find(expected), std::string::npos) << error_of(text);
    }
    for (const std::string table :
         {"captures", "black_level", "lens_shading", "white_balance", "noise", "colour_matrix"}) {
        const std::string error = error_of("[" + table + "]\nwidht = 3\n");
        EXPECT_NE(error.find(table + ": unknown key 'widht' in line 2"), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace cali::test
