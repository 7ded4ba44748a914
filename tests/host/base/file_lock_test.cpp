#include "base/file_lock.h"

#include <gtest/gtest.h>

#include <thread>

#include "base/error.h"
#include "base/output_file.h"
#include "support/program.h"

namespace cali::test {
namespace {

TEST(FileLock, TwoAtOnceLoseNeithersUpdate) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder / "there");
    const std::filesystem::path link = kHasLinks ? folder / "link" : folder / "there/count";
    if (kHasLinks) {
        std::filesystem::create_symlink("there/count", link);
    }
    host::write_text_file(link, "0");
    constexpr int kRounds = 25;
    const auto count_up = [&](const std::filesystem::path& file) {
        for (int i = 0; i < kRounds; ++i) {
            const host::FileLock lock(file);
            host::write_text_file(file, std::to_string(std::stoi(read_text(file)) + 1));
        }
    };
    std::thread one(count_up, link);
    std::thread two(count_up, folder / "there/count");
    one.join();
    two.join();
    EXPECT_EQ(read_text(folder / "there/count"), std::to_string(2 * kRounds));
    EXPECT_EQ(folder.names().size(), kHasLinks ? 3U : 2U);
    EXPECT_THROW(host::FileLock(folder / "none/count"), host::InputError);
}

}  // namespace
}  // namespace cali::test
