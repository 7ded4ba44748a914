#include "base/jobs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <new>
#include <stdexcept>
#include <vector>

#include "base/error.h"

namespace cali::test {
namespace {

using host::Jobs;

std::string what_of(const std::function<std::string()>& call) {
    try {
        return call();
    } catch (const std::runtime_error& problem) {
        return std::string("problem: ") + problem.what();
    }
}

TEST(Jobs, GiveTheirAnswersAndErrorsInWhateverOrderTheyAreAskedFor) {
    for (const std::size_t most : {1U, 2U, 9U}) {
        SCOPED_TRACE(most);
        std::vector<std::string> told;
        Jobs jobs(most, [&](const std::string& text) { told.push_back(text); });
        const std::string large(1U << 20U, 'x');  // more than a pipe holds
        const std::vector<std::pair<Jobs::Work, std::string>> cases = {
            {[&](const Jobs::Tell& tell) { return tell("one"), tell(""), large; }, large},
            {[](const Jobs::Tell&) -> std::string { throw host::OutputError("a\nb"); }, "problem: a\nb"},
            {[](const Jobs::Tell&) -> std::string { throw std::bad_alloc(); }, "problem: not enough memory"},
            {[](const Jobs::Tell&) -> std::string { throw std::out_of_range("r"); }, "problem: r"},
            {[](const Jobs::Tell& tell) { return tell("two"), std::string(); }, ""}};
        std::vector<std::size_t> numbers;
        for (const auto& [work, expected] : cases) {
            numbers.push_back(jobs.add(work));
        }
        for (const std::size_t i : {3U, 4U, 0U, 2U, 1U}) {
            EXPECT_TRUE(what_of([&] { return jobs.wait(numbers[i]); }) == cases[i].second) << i;
        }
        std::ranges::sort(told);
        EXPECT_EQ(told, (std::vector<std::string>{"", "one", "two"}));
    }
}

}  // namespace
}  // namespace cali::test
