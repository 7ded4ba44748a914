#include "base/output_file.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <csignal>
#include <future>

#include "base/error.h"
#include "base/process.h"
#include "support/program.h"

namespace cali::test {
namespace {

TEST(OutputFile, FullDiskIsSaidAndNothingAppears) {
    const TemporaryFolder folder;
    write_text(folder / "old", "old");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    (void)std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    {
        host::PendingFiles files;
        files.add_text(folder / "small", "1");
        files.add_text(folder / "old", std::string(100000, 'x'));
        EXPECT_THROW(files.commit(), host::OutputError);
    }
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"old"});
    EXPECT_EQ(read_text(folder / "old"), "old");
}

TEST(OutputFile, LinksAndPermissionsStay) {
    namespace fs = std::filesystem;
    const TemporaryFolder folder;
    fs::create_directories(folder / "there");
    write_text(folder / "there/file", "old");
    const auto odd = fs::perms::owner_all | fs::perms::group_write;  // as no umask makes them
    fs::permissions(folder / "there/file", odd);
    fs::create_symlink("there/file", folder / "link");
    fs::create_symlink("there/new", folder / "dangling");
    fs::create_symlink("ring", folder / "ring");
    const mode_t umask_before = umask(0027);
    for (const char* name : {"link", "dangling"}) {
        host::write_text_file(folder / name, name);
        EXPECT_TRUE(fs::is_symlink(folder / name));
    }
    umask(umask_before);
    EXPECT_EQ(read_text(folder / "there/file"), "link");
    EXPECT_EQ(fs::status(folder / "there/file").permissions(), odd);
    EXPECT_EQ(read_text(folder / "there/new"), "dangling");
    EXPECT_EQ(fs::status(folder / "there/new").permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    EXPECT_THROW(host::write_text_file(folder / "ring", ""), host::InputError);
}

TEST(OutputFile, PipesAreWrittenToDirectly) {
    const TemporaryFolder folder;
    const std::string pipe = (folder / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    auto received = std::async(std::launch::async, [&] { return read_text(pipe); });
    host::write_text_file(pipe, "through");
    EXPECT_EQ(received.get(), "through");
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
}

TEST(OutputFile, NoTemporaryFileOutlivesASignal) {
    const TemporaryFolder folder;
    for (const int signal : {SIGINT, SIGTERM}) {
        std::array<int, 2> ready{};
        ASSERT_EQ(pipe(ready.data()), 0);
        const pid_t child = fork();
        if (child == 0) {
            std::signal(signal, SIG_DFL);  // what runs in the background may ignore it
            alarm(30);
            host::process::clean_up_on_signals();
            host::PendingFiles files;
            files.add_text(folder / "a", "1");
            files.add_text(folder / "b", "2");
            host::write_text_file(folder / "done", "3");
            (void)!write(ready[1], "x", 1);
            while (true) {
                pause();
            }
        }
        char byte = 0;
        ASSERT_EQ(read(ready[0], &byte, 1), 1);
        EXPECT_EQ(folder.names().size(), 3U);
        kill(child, signal);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 128 + signal);
        EXPECT_EQ(folder.names(), std::vector<std::string>{"done"});
    }
}

}  // namespace
}  // namespace cali::test
