#include "base/run_files.h"

#include <gtest/gtest.h>

#include "base/error.h"
#include "support/program.h"

namespace cali::test {
namespace {

namespace fs = std::filesystem;

TEST(RunFiles, AnOutputIsAFileOfItsOwn) {
    const TemporaryFolder folder;
    const fs::path capture = folder / "c.raw";
    write_text(capture, "");
    write_text(folder / "old.json", "");
    fs::create_directories(folder / "there");
    fs::create_hard_link(capture, folder / "hard");
    std::vector<fs::path> links;
    if (kHasLinks) {
        links = {folder / "folder_link/new", folder / "dangling"};
        fs::create_directory_symlink("there", folder / "folder_link");
        fs::create_symlink("there/new", folder / "dangling");
    }
    for (const fs::path& name : {folder / "hard", folder / "there/../c.raw"}) {
        EXPECT_EQ(refusal([&] {
                      host::RunFiles files;
                      files.growing(name, "--results");
                      files.input(capture, "capture");
                  }),
                  "--results " + name.string() + ": is also the capture " + capture.string() +
                      ", expected a file of its own");
    }
    for (const fs::path& name : links) {  // neither exists yet
        EXPECT_EQ(refusal([&] {
                      host::RunFiles files;
                      files.output(folder / "there/new", "--plot");
                      files.output(name, "--cube");
                  }),
                  "--cube " + name.string() + ": is also --plot " + (folder / "there/new").string() +
                      ", expected a file of its own");
    }
    host::RunFiles files;
    files.input(capture, "capture");
    files.input(folder / "hard", "capture");
    files.values(folder / "old.json", "--values");
    files.growing(folder / "old.json", "--results");
    files.output(folder / "there/other", "--plot");
    const fs::path nowhere = kHasLinks ? "/dev/null" : "NUL";
    files.output(nowhere, "--cube");
    files.output(nowhere, "--log");
    files.output("-", "--picture");
    EXPECT_THROW(files.output(capture, "--plot"), host::InputError);
    EXPECT_THROW(files.output("-", "--plot"), host::InputError);
    EXPECT_THROW(files.output(folder / "old.json", "--plot"), host::InputError);
}

}  // namespace
}  // namespace cali::test
