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

TEST(Console, ATableSaysWhatWasLimitedAndWhoseReferenceItHas) {
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
}

}  // namespace
}  // namespace cali::test
