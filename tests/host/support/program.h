/// Runs the program as a user does.
#pragma once

#include <gtest/gtest.h>
#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/error.h"

namespace cali::test {

/// A fresh folder that goes when it is done with, or one that is there and stays.
class TemporaryFolder {
public:
    TemporaryFolder();
    explicit TemporaryFolder(std::filesystem::path existing) : path_(std::move(existing)), stays_(true) {}
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    /// Of everything below, in order.
    [[nodiscard]] std::vector<std::string> names() const;

private:
    std::filesystem::path path_;
    bool stays_ = false;
};

/// Windows makes them for administrators only.
#ifdef _WIN32
inline constexpr bool kHasLinks = false;
#else
inline constexpr bool kHasLinks = true;
#endif

struct ProgramRun {
    int status = -1;
    std::string out;
    std::string err;
};

/// In `folder`, with shell-quoted arguments.
[[nodiscard]] ProgramRun run_program(const std::filesystem::path& folder, const std::vector<std::string>& arguments);

/// Words separated by blanks.
[[nodiscard]] std::vector<std::string> words(const std::string& line);

/// Runs one line and expects status 0; returns its standard output.
std::string run_line(const std::filesystem::path& folder, const std::string& line);

/// A line of arguments and what its one line on standard error says.
struct ErrorCase {
    std::string line;
    std::string expected;
    int status = 2;
};
/// Every line ends with its status and text, prints nothing, and leaves the folder as it was.
void expect_errors(const TemporaryFolder& folder, const std::vector<ErrorCase>& cases);

[[nodiscard]] std::string read_text(const std::filesystem::path& file);
void write_text(const std::filesystem::path& file, const std::string& text);
[[nodiscard]] nlohmann::json read_json(const std::filesystem::path& file);

/// What InputError says of a call.
template <typename Call>
std::string refusal(const Call& call) {
    try {
        call();
    } catch (const host::InputError& problem) {
        return problem.what();
    }
    return "no error";
}

/// Replaces the one place where `from` stands.
[[nodiscard]] std::string replaced(std::string text, const std::string& from, const std::string& to);

/// Captures of a simulated sensor (640 x 480, three lights, a short series) and the chain's results on them with every
/// output. Made once: by SimulatedSession.IsMade in the folder that CALI_TEST_SESSION names, else in each process.
/// Tests leave it as it is.
[[nodiscard]] const TemporaryFolder& simulated_session();

/// The folder of real captures that CALI_TEST_DATA names.
[[nodiscard]] std::optional<std::filesystem::path> real_captures();

}  // namespace cali::test
