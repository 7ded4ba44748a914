// Windows does jobs one after the other.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "base/jobs.h"
#include "support/program.h"

namespace cali::test {
namespace {

using host::Jobs;

/// Each waits for the other; a third, beyond the most, does not begin before one of them is done.
TEST(Jobs, RunSideBySideAndNoMoreThanThat) {
    const TemporaryFolder folder;
    const auto exists = [&](const std::string& name) { return std::filesystem::exists(folder / name); };
    const auto meet = [&](const std::string& own, const std::string& other) {
        return [&, own, other](const Jobs::Tell&) -> std::string {
            write_text(folder / own, "");
            for (int i = 0; i < 2000 && !exists(other); ++i) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            write_text(folder / (own + " is done"), "");
            return exists(other) ? "met" : "missed";
        };
    };
    Jobs jobs(2, [](const std::string&) {});
    const std::size_t first = jobs.add(meet("first", "second"));
    const std::size_t second = jobs.add(meet("second", "first"));
    const std::size_t third = jobs.add([&](const Jobs::Tell&) -> std::string {
        return exists("first is done") || exists("second is done") ? "waited" : "too early";
    });
    EXPECT_EQ(jobs.wait(first), "met");
    EXPECT_EQ(jobs.wait(second), "met");
    EXPECT_EQ(jobs.wait(third), "waited");
}

TEST(Jobs, HaveAProcessEach) {
    Jobs jobs(2, [](const std::string&) {});
    for (int i = 0; i < 5; ++i) {
        (void)jobs.add([](const Jobs::Tell&) { return std::to_string(::getpid()); });
    }
    std::set<std::string> processes = {std::to_string(::getpid())};
    for (std::size_t i = 5; i-- > 0;) {  // the last while the first ones take all room
        processes.insert(jobs.wait(i));
    }
    EXPECT_EQ(processes.size(), 6U);
}

TEST(Jobs, ThatDieAreAnErrorAndThoseLeftAreEnded) {
    const auto begin = std::chrono::steady_clock::now();
    {
        Jobs jobs(2, [](const std::string&) {});
        const auto sleep = [](const Jobs::Tell&) {
            std::this_thread::sleep_for(std::chrono::seconds(60));
            return std::string();
        };
        const std::size_t dead = jobs.add([](const Jobs::Tell& tell) {
            tell("half");
            (void)std::raise(SIGKILL);
            return std::string("never");
        });
        const std::size_t dropped = jobs.add(sleep);
        jobs.drop(dropped);
        try {
            (void)jobs.wait(dead);
            ADD_FAILURE() << "an answer";
        } catch (const std::runtime_error& problem) {
            EXPECT_STREQ(
                problem.what(),
                "a process of this run was ended by signal 9 (Killed) before its work was done; fewer at a time need "
                "less memory");
        }
        (void)jobs.add(sleep);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60)) << "waited for, not ended";
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);  // no process is left, not even an ended one
}

}  // namespace
}  // namespace cali::test
