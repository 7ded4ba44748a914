#include "support/program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <stdexcept>

#include "base/text.h"

namespace cali::test {

TemporaryFolder::TemporaryFolder() {
    // Letters beyond ASCII, as users' folders have them.
    path_ =
        std::filesystem::temp_directory_path() / host::path_of("cali-täst-" + std::to_string(std::random_device{}()));
    if (!std::filesystem::create_directory(path_)) {
        throw std::runtime_error("no temporary folder");
    }
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    if (!stays_) {
        std::filesystem::remove_all(path_, ignored);
    }
}

std::vector<std::string> TemporaryFolder::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
        names.push_back(entry.path().lexically_relative(path_).generic_string());
    }
    std::ranges::sort(names);
    return names;
}

std::vector<std::string> words(const std::string& line) {
    std::istringstream text(line);
    return {std::istream_iterator<std::string>(text), {}};
}

std::string run_line(const std::filesystem::path& folder, const std::string& line) {
    const ProgramRun run = run_program(folder, words(line));
    EXPECT_EQ(run.status, 0) << line << "\n" << run.err;
    return run.out;
}

void expect_errors(const TemporaryFolder& folder, const std::vector<ErrorCase>& cases) {
    const std::vector<std::string> before = folder.names();
    for (const auto& [line, expected, status] : cases) {
        SCOPED_TRACE(line);
        const ProgramRun run = run_program(folder.path(), words(line));
        EXPECT_EQ(run.status, status) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_NE(run.err.find(expected), std::string::npos) << run.err;
        // What is not given (a black level, say) is said first; the error itself is one line.
        const std::string error = run.err.substr(std::min(run.err.rfind("cali: "), run.err.size()));
        EXPECT_EQ(std::ranges::count(error, '\n'), 1) << run.err;
        EXPECT_EQ(folder.names(), before);
    }
}

std::string read_text(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void write_text(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

nlohmann::json read_json(const std::filesystem::path& file) { return nlohmann::json::parse(read_text(file)); }

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

namespace {

void make_session(const std::filesystem::path& folder) {
    run_line(folder,
             "simulate . --size 640x480 --pattern GRBG --illuminants 2850 5000 6500 --dark-frames 2 --series-levels 4 "
             "--bend 0.3 --seed 4");
    run_line(folder, "calibrate session.toml --registers --corrected --pictures --tables --log library.log");
}

TEST(SimulatedSession, IsMade) {
    if (const char* const shared = std::getenv("CALI_TEST_SESSION")) {
        std::filesystem::remove_all(shared);
        std::filesystem::create_directories(shared);
        make_session(shared);
    }
    EXPECT_TRUE(std::filesystem::exists(simulated_session() / "results.json"));
}

}  // namespace

const TemporaryFolder& simulated_session() {
    if (const char* const shared = std::getenv("CALI_TEST_SESSION")) {
        static const TemporaryFolder existing{std::filesystem::path(shared)};
        return existing;
    }
    static const TemporaryFolder folder;
    static const bool made = (make_session(folder.path()), true);
    (void)made;
    return folder;
}

std::optional<std::filesystem::path> real_captures() {
    const char* folder = std::getenv("CALI_TEST_DATA");
    if (folder == nullptr || *folder == '\0') {
        return std::nullopt;
    }
    return std::filesystem::absolute(folder);
}

}  // namespace cali::test
