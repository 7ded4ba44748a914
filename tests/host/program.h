/// Runs the program as a user does.
#pragma once

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace cali::test {

/// A fresh folder that goes when it is done with.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    [[nodiscard]] std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
    [[nodiscard]] std::vector<std::string> names() const;

private:
    std::filesystem::path path_;
};

struct ProgramRun {
    int status = -1;
    std::string out;
    std::string err;
};

/// In `folder`, with shell-quoted arguments.
[[nodiscard]] ProgramRun run_program(const std::filesystem::path& folder, const std::vector<std::string>& arguments);

[[nodiscard]] std::string read_text(const std::filesystem::path& file);
void write_text(const std::filesystem::path& file, const std::string& text);
[[nodiscard]] nlohmann::json read_json(const std::filesystem::path& file);

/// The folder of real captures that CALI_TEST_DATA names.
[[nodiscard]] std::optional<std::filesystem::path> real_captures();

}  // namespace cali::test
