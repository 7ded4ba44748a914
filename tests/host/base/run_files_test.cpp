#include "base/run_files.h"

#include <gtest/gtest.h>

#include "base/error.h"
#include "support/program.h"

namespace cali::test {
namespace {

TEST(RunFiles, AnOutputIsAFileOfItsOwn) {
    using host::RunFiles;
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    const fs::path capture = folder / "c.raw";
    write_text(capture, "");
    write_text(folder / "old.json", "");
    fs::create_directories(folder / "there");
    fs::create_hard_link(capture, folder / "hard");
    fs::create_symlink("c.raw", folder / "link");
    fs::create_directory_symlink("there", folder / "folder_link");
    fs::create_symlink("there/new", folder / "dangling");

    const auto refuses = [](const auto& tell) {
        RunFiles files;
        try {
            tell(files);
        } catch (const host::InputError& problem) {
            return std::string(problem.what());
        }
        return std::string();
    };
    for (const fs::path& name : {capture, folder / "hard", folder / "link", folder / "there/../c.raw"}) {
        const std::string expected =
            "--results " + name.string() + ": is also the capture " + capture.string() + ", expected a file of its own";
        EXPECT_EQ(refuses([&](RunFiles& files) {
                      files.input(capture, "capture");
                      files.output(name, "--results");
                  }),
                  expected);
        EXPECT_EQ(refuses([&](RunFiles& files) {
                      files.growing(name, "--results");
                      files.input(capture, "capture");
                  }),
                  expected);
    }
    // Two outputs that do not exist yet.
    for (const fs::path& name : {folder / "there/new", folder / "folder_link/new", folder / "dangling"}) {
        EXPECT_EQ(refuses([&](RunFiles& files) {
                      files.output(folder / "there/new", "--plot");
                      files.output(name, "--cube");
                  }),
                  "--cube " + name.string() + ": is also --plot " + (folder / "there/new").string() +
                      ", expected a file of its own");
    }
    EXPECT_NE(refuses([](RunFiles& files) {
                  files.output("-", "--plot");
                  files.output("-", "--cube");
              }),
              "");

    RunFiles files;
    files.input(capture, "capture");
    files.input(folder / "link", "capture");
    files.values(folder / "old.json", "--values");
    files.growing(folder / "old.json", "--results");
    files.output(folder / "other", "--plot");
    files.output(folder / "there/other", "--plot");
    files.output("/dev/null", "--cube");
    files.output("/dev/null", "--log");
    files.output("-", "--picture");
    EXPECT_THROW(files.output(folder / "old.json", "--plot"), host::InputError);
}

}  // namespace
}  // namespace cali::test
