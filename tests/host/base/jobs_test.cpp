#include "base/jobs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "base/error.h"

namespace cali::test {
namespace {

using host::Jobs;

std::string what_of(const std::function<std::string()>& call) {
    try {
        return call();
    } catch (const host::InputError& problem) {
        return std::string("input: ") + problem.what();
    } catch (const host::CalibrationError& problem) {
        return std::string("calibration: ") + problem.what();
    } catch (const host::OutputError& problem) {
        return std::string("output: ") + problem.what();
    } catch (const std::bad_alloc&) {
        return "memory";
    } catch (const std::runtime_error& problem) {
        return std::string("other: ") + problem.what();
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
            {[](const Jobs::Tell&) -> std::string { throw host::InputError("a\nb"); }, "input: a\nb"},
            {[](const Jobs::Tell&) -> std::string { throw host::CalibrationError("c"); }, "calibration: c"},
            {[](const Jobs::Tell&) -> std::string { throw host::OutputError("o"); }, "output: o"},
            {[](const Jobs::Tell&) -> std::string { throw std::bad_alloc(); }, "memory"},
            {[](const Jobs::Tell&) -> std::string { throw std::out_of_range("r"); }, "other: r"},
            {[](const Jobs::Tell& tell) { return tell("two"), std::string(); }, ""}};
        std::vector<std::size_t> numbers;
        for (const auto& [work, expected] : cases) {
            numbers.push_back(jobs.add(work));
        }
        for (const std::size_t i : {3U, 6U, 0U, 1U, 2U, 4U, 5U}) {
            EXPECT_TRUE(what_of([&] { return jobs.wait(numbers[i]); }) == cases[i].second) << i;
        }
        std::ranges::sort(told);
        EXPECT_EQ(told, (std::vector<std::string>{"", "one", "two"}));
    }
}

}  // namespace
}  // namespace cali::test
