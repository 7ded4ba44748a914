#include "outputs/console.h"

#include "results/results.h"
#include "support/program.h"

namespace cali::test {
namespace {

std::string printed(const host::Section& section) {
    ::testing::internal::CaptureStdout();
    host::print(section);
    return ::testing::internal::GetCapturedStdout();
}

TEST(Console, ShowsTitleTablesRemarksAndNotes) {
    host::Section section;
    section.title = "Title";
    section.figures = {{"not shown", 1, ""}};
    section.tables = {{{{"name", 6, true}, {"n", 4}}, {{{"a", "1"}, "a remark"}, {{"longer one", "2"}, ""}}},
                      {{{"hidden", 3}}, {{{"x"}, ""}}, false}};
    section.notes = {"a note"};
    section.warnings = {"a warning"};
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(printed(section),
              "Title\n  name      n\n  a         1\n  a remark\n  longer one    2\n    x\n  a note\n");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "cali: a warning\n");
}

TEST(Console, BlackLevelAndGainsStandInTheirColumns) {
    host::DarkFrameLevels frame{"d/dark.raw", {}, false, {}};
    frame.by_method[0].offset = {1, 2, 3, 4};
    frame.by_method[1].offset = {5, 6, 7, 8};
    frame.by_method[2].offset = {9, 10, 11, 12};
    EXPECT_EQ(printed(describe(host::combine({frame}, host::BlackLevelMethod::mean))),
              "Black level, in codes of 12 bits\n"
              "  frame                        method                 RR       GR       GB       BB\n"
              "  dark.raw                     median                  1        2        3        4\n"
              "  dark.raw                     mean                    5        6        7        8\n"
              "  dark.raw                     mean_deviation          9       10       11       12\n"
              "  dark.raw: a median lies outside 1..799: is this a dark frame?\n"
              "  offset                       mean                    5        6        7        8\n"
              "  restoring gain                                 1.00122  1.00147  1.00171  1.00196\n");
    EXPECT_EQ(printed(describe(std::vector<host::WhiteBalance>{{"g.raw", {5000, {}}, "", {}, {2048, 1024, 512}}})),
              "White-balance gains, 1024 = 1.0\n"
              "  grey card                         light            red          green           blue\n"
              "  g.raw                            5000 K  2048 (2.0000)  1024 (1.0000)   512 (0.5000)\n");
}

/// Words alone: the columns are those of the tests above.
std::string squeezed(const host::Section& section) {
    std::string text;
    for (const std::string& word : words(printed(section))) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

TEST(Console, EveryCalibrationShowsItsFigures) {
    host::LensShading shading{"d/flat.raw",           {}, {}, {}, {0.5, 0.1, 0.2, 0.3}, {0.9, 0.01, 0.02, 0.03},
                              {0.8, 0.04, 0.05, 0.06}};
    shading.settings.denoise = true;
    shading.tables.center_x = 10;
    shading.tables.center_y = 20;
    EXPECT_EQ(
        squeezed(describe(shading)),
        "Lens shading: flat.raw, mesh of 33 x 25 nodes, chroma_and_luma, denoised, centre (10, 20) corner / centre "
        "luminance rms worst luminance worst colour shift before 0.500 10.00 % 20.00 % 30.00 % after mesh 0.900 "
        "1.00 % 2.00 % 3.00 % after radial 0.800 4.00 % 5.00 % 6.00 %");
    EXPECT_EQ(squeezed(describe(host::CurveResult{{0.5F, -1.5F, 2, {}}, 5000, {{2850, 1, 2, 3}}, {}})),
              "White-balance curve: y = 0.50000 x^2 -1.50000 x +2.00000, gains over those at 5000 K light x (red) y "
              "(blue) curve 2850 K 1.0000 2.0000 3.0000");
    host::MatrixCalibration matrix;
    matrix.file = "c.raw";
    matrix.exposure = 1.5;
    matrix.gains = {2048, 1024, 512};
    matrix.matrix = {{1, 2, 3, 4, 5, 6, 7, 8, 9}, {11, 12, 13, 14, 15, 16, 17, 18, 19}};
    matrix.before = {{1, 2, 2, {}}, {3, 4, 3, {}}};
    matrix.after = {{5, 6, 4, {}}, {7, 8, 5, {}}};
    matrix.leave_one_out = 9;
    EXPECT_EQ(squeezed(describe(matrix)),
              "Colour matrix: c.raw, method lsq, white D65, exposure x 1.500, gains 2.0000 and 0.5000 1.00000 2.00000 "
              "3.00000 11 12 13 4.00000 5.00000 6.00000 14 15 16 7.00000 8.00000 9.00000 17 18 19 mean dE*ab worst "
              "dE*ab mean dE2000 worst dE2000 before 1.00 2.00 ( 3) 3.00 4.00 ( 4) after 5.00 6.00 ( 5) 7.00 8.00 ( 6) "
              "reference: built-in leave-one-out mean dE2000 9.00");
    host::ColourTable table;
    table.input = {"c.raw", {}, {}, {}, 2, "charts/my.csv"};
    table.settings = {host::TableDomain::rgb, 33, 1, 0.2};
    table.before = {0.7, 1.4, 0, {}};
    table.after = {0.3, 0.6, 0, {}};
    table.leave_one_out = 0.5;
    table.grey_movement = 0.1;
    EXPECT_EQ(
        squeezed(describe(table)),
        "Colour table: c.raw, rgb, 33^3 nodes, strength 1.00, radius 0.20 2 components that the matrix pushed out "
        "of 0..1 were limited to it reference: my.csv CIEDE2000 before: mean 0.700, worst 1.400; after: mean 0.300, "
        "worst 0.600 leave-one-out mean 0.500; greys move by at most 0.100");
    host::NoiseResults noise;
    noise.window = {1, 2, 3, 4};
    noise.levels = {{"level 1", 2, {1, 2, 3, 4}, {5, 6, 7, 8}, {}}};
    noise.deviation.fill({{0.5F, 1}, 0.01});
    noise.variance.fill({{0.25F, 9}, 0.02});
    noise.registers = {{{21, 31}, {22, 32}, {23, 33}, {24, 34}}};
    noise.luma_registers = {41, 42};
    EXPECT_EQ(squeezed(describe(noise)),
              "Noise over [1, 2, 3, 4], mean and deviation in codes level frames RR GR GB BB level 1 2 1.00 5.000 2.00 "
              "6.000 3.00 7.000 4.00 8.000 channel deviation = slope, intercept residual variance = codes/electron, "
              "read noise residual slope, level "
              "rr 0.500000 1.0000 1.00 % 0.2500 3.000 2.00 % 21 31 gr 0.500000 1.0000 1.00 % 0.2500 3.000 2.00 % 22 32 "
              "gb 0.500000 1.0000 1.00 % 0.2500 3.000 2.00 % 23 33 bb 0.500000 1.0000 1.00 % 0.2500 3.000 2.00 % 24 34 "
              "registers U4.12 and U10.0 at code 1024; luma 41, 42");
}

}  // namespace
}  // namespace cali::test
