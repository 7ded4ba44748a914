#include "outputs/console.h"

#include "calibrations/black_level.h"
#include "calibrations/white_balance.h"
#include "support/program.h"

namespace cali::test {
namespace {

std::string printed(const host::Section& section) {
    ::testing::internal::CaptureStdout();
    host::print(section);
    return ::testing::internal::GetCapturedStdout();
}

TEST(Console, ShowsTitleTablesRemarksAndNotes) {
    const host::Section section{"Title",
                                {{"not shown", 1, ""}},
                                {{{{"name", 6, true}, {"n", 4}}, {{{"a", "1"}, "a remark"}, {{"longer one", "2"}, ""}}},
                                 {{{"hidden", 3}}, {{{"x"}, ""}}, false}},
                                {},
                                {"a note"},
                                {"a warning"}};
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
    EXPECT_EQ(printed(describe(std::vector<host::WhiteBalance>{{"g.raw", 5000, "", {}, {2048, 1024, 512}}})),
              "White-balance gains, 1024 = 1.0\n"
              "  grey card                         light            red          green           blue\n"
              "  g.raw                            5000 K  2048 (2.0000)  1024 (1.0000)   512 (0.5000)\n");
}

}  // namespace
}  // namespace cali::test
