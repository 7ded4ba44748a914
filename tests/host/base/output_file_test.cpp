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
    EXPECT_EQ(files.commit(), (std::vector<std::filesystem::path>{folder / "c", folder / "b"}));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(read_text(folder / "b"), "2");

    EXPECT_THROW(host::write_text_file(folder / "none" / "a", ""), host::InputError);
    EXPECT_THROW(host::write_text_file(folder.path(), ""), host::InputError);
    EXPECT_THROW(host::make_folder(folder / "a"), host::InputError);
}

TEST(OutputFile, FullDiskIsSaid) {
    if (!std::filesystem::exists("/dev/full")) {
        GTEST_SKIP() << "no /dev/full here";
    }
    const TemporaryFolder folder;
    host::OutputFile file(folder / "a");
    file.stream().close();
    file.stream().open("/dev/full");
    file.stream() << "text";
    EXPECT_THROW(file.commit(), host::InputError);
    EXPECT_FALSE(std::filesystem::exists(folder / "a"));
}

}  // namespace
}  // namespace cali::test
