#include "base/output_file.h"

#include <gtest/gtest.h>

#include "base/error.h"
#include "support/program.h"

namespace cali::test {
namespace {

TEST(OutputFile, AppearsWholeOrNotAtAll) {
    const TemporaryFolder folder;
    write_text(folder / "a", "old");
    {
        host::OutputFile file(folder / "a");
        file.stream() << "half";
        EXPECT_EQ(read_text(folder / "a"), "old");
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a"});  // nothing temporary stays behind
    host::write_text_file(folder / "a", "new");
    EXPECT_EQ(read_text(folder / "a"), "new");

    {
        host::PendingFiles abandoned;
        abandoned.add_text(folder / "b", "1");
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a"});
    host::PendingFiles files;
    files.add_text(folder / "c", "1");
    files.add_text(folder / "b", "2");
    EXPECT_FALSE(std::filesystem::exists(folder / "c"));
    EXPECT_EQ(files.targets(), (std::vector<std::filesystem::path>{folder / "c", folder / "b"}));
    files.commit();
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(read_text(folder / "b"), "2");

    EXPECT_THROW(host::write_text_file(folder / "none" / "a", ""), host::InputError);
    EXPECT_THROW(host::write_text_file(folder.path(), ""), host::InputError);
    EXPECT_THROW(host::make_folder(folder / "a"), host::InputError);
}

TEST(OutputFile, StandardOutputIsWrittenToDirectly) {
    ::testing::internal::CaptureStdout();
    std::printf("before ");
    host::write_text_file("-", "itself ");
    std::printf("after");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "before itself after");
}

TEST(OutputFile, LeftoversGoUnlessTheyAreBeingWritten) {
    const TemporaryFolder folder;
    host::OutputFile other_run(folder / "a");  // its lock is its own, as another process's would be
    other_run.stream() << "other";
    write_text(folder / ".a.abc123.part", "killed");
    write_text(folder / ".ab.abc123.part", "another target's");
    host::write_text_file(folder / "a", "mine");
    EXPECT_EQ(folder.names().size(), 3U);
    EXPECT_FALSE(std::filesystem::exists(folder / ".a.abc123.part"));
    other_run.commit();
    EXPECT_EQ(read_text(folder / "a"), "other");
    // As long as names may be: the temporary one is cut.
    host::write_text_file(folder / std::string(255, 'n'), "");
}

}  // namespace
}  // namespace cali::test
