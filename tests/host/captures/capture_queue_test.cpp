#include "captures/capture_queue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "base/error.h"

namespace cali::test {
namespace {

using host::CaptureEntry;

std::vector<CaptureEntry> entries_of(const std::vector<std::string>& names) {
    std::vector<CaptureEntry> entries;
    for (const std::string& name : names) {
        entries.push_back({{name}, {}, {}});
    }
    return entries;
}

host::Capture read(const CaptureEntry& entry) {
    if (entry.file() == "bad") {
        throw host::InputError("bad: cannot be read");
    }
    host::Capture capture;
    capture.file = entry.file();
    return capture;
}

TEST(CaptureQueue, GivesWhatIsAskedForWhateverIsReadAhead) {
    for (const std::size_t threads : {0U, 1U, 3U}) {
        SCOPED_TRACE(threads);
        std::atomic<int> reads = 0;
        const auto order = entries_of({"a", "b", "bad", "c", "d", "a", "e", "f", "g"});
        host::CaptureQueue queue(
            order,
            [&](const CaptureEntry& entry) {
                ++reads;
                return read(entry);
            },
            threads);
        const auto take = [&](const char* name) { return queue.take(entries_of({name}).front()).file; };
        EXPECT_EQ(take("a"), "a");
        EXPECT_EQ(take("b"), "b");
        EXPECT_THROW((void)take("bad"), host::InputError);
        EXPECT_EQ(take("d"), "d");  // c is passed over
        EXPECT_EQ(take("c"), "c");  // stands nowhere any more
        EXPECT_EQ(take("a"), "a");
        EXPECT_EQ(take("other"), "other");
        EXPECT_EQ(take("e"), "e");
        EXPECT_LE(reads, 9 + 2);
    }
}

TEST(CaptureQueue, ReadsTheNextWhileOneIsComputed) {
    std::promise<void> second;
    host::CaptureQueue queue(
        entries_of({"a", "b", "c"}),
        [&](const CaptureEntry& entry) {
            if (entry.file() == "b") {
                second.set_value();
            }
            EXPECT_NE(entry.file(), "c");  // one thread keeps one capture
            return read(entry);
        },
        1);
    (void)queue.take(entries_of({"a"}).front());
    EXPECT_EQ(second.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

}  // namespace
}  // namespace cali::test
