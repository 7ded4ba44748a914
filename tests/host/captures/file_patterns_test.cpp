#include "captures/file_patterns.h"

#include <gtest/gtest.h>

#include "base/error.h"
#include "captures/frame_series.h"
#include "support/program.h"

namespace cali::test {
namespace {

std::vector<std::string> names_of(const std::vector<std::filesystem::path>& files) {
    std::vector<std::string> names;
    for (const std::filesystem::path& file : files) {
        names.push_back(file.filename().string());
    }
    return names;
}

using Names = std::vector<std::string>;

TEST(FilePatterns, MatchInNaturalOrder) {
    const TemporaryFolder folder;
    for (const char* name : {"l10_a.raw", "l2_b.raw", "l2_a.raw", "l02_c.raw", "l2.raw", "x.txt"}) {
        write_text(folder / name, "");
    }
    EXPECT_EQ(names_of(host::matching_files(folder / "l*_?.raw")),
              (Names{"l2_a.raw", "l2_b.raw", "l02_c.raw", "l10_a.raw"}));
    EXPECT_EQ(names_of(host::matching_files(folder / "*.t?t")), Names{"x.txt"});
    EXPECT_EQ(names_of(host::matching_files(folder / "l2.raw*")), Names{"l2.raw"});
    EXPECT_THROW((void)host::matching_files(folder / "?.txtx"), host::InputError);
    const host::NaturalLess less;
    EXPECT_TRUE(less("a9", "a10"));
    EXPECT_FALSE(less("a10", "a9"));
    EXPECT_TRUE(less("a2b", "a2c"));
    EXPECT_TRUE(less("a", "a1"));
    EXPECT_FALSE(less("b", "a1"));
}

TEST(FrameSeries, LevelsAreSubfoldersOrElseGroupsOfNames) {
    const TemporaryFolder folder;
    const auto levels = [&] {
        std::vector<Names> found;
        for (const host::SeriesLevel& level : host::levels_of_folder(folder.path())) {
            found.push_back(names_of(level.files));
        }
        return found;
    };
    for (const char* name : {"s_10_1.raw", "s_9_2.pgm", "s_9_1.raw", "s_9_1.txt"}) {
        write_text(folder / name, "");
    }
    EXPECT_EQ(levels(), (std::vector<Names>{{"s_9_1.raw", "s_9_2.pgm"}, {"s_10_1.raw"}}));
    for (const char* name : {"l10/1.raw", "l9/2.raw", "l9/1.raw", "notes/1.txt"}) {
        std::filesystem::create_directories((folder / name).parent_path());
        write_text(folder / name, "");
    }
    EXPECT_EQ(levels(), (std::vector<Names>{{"1.raw", "2.raw"}, {"1.raw"}}));
    EXPECT_THROW((void)host::levels_of_folder(folder / "notes"), host::InputError);
    EXPECT_THROW((void)host::levels_of_folder(folder / "gone"), host::InputError);
}

}  // namespace
}  // namespace cali::test
