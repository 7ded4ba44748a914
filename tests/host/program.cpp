#include "program.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace cali::test {

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "cali-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> TemporaryFolder::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
        names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
}

ProgramRun run_program(const std::filesystem::path& folder, const std::vector<std::string>& arguments) {
    const TemporaryFolder outputs;
    std::string command = "cd '" + folder.string() + "' && '" + CALI_PROGRAM + "'";
    for (const std::string& argument : arguments) {
        command += " '" + argument + "'";
    }
    command += " >'" + (outputs / "out").string() + "' 2>'" + (outputs / "err").string() + "' </dev/null";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_text(outputs / "out"), read_text(outputs / "err")};
}

std::string read_text(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void write_text(const std::filesystem::path& file, const std::string& text) {
    std::ofstream(file, std::ios::binary) << text;
}

nlohmann::json read_json(const std::filesystem::path& file) { return nlohmann::json::parse(read_text(file)); }

std::optional<std::filesystem::path> real_captures() {
    const char* folder = std::getenv("CALI_TEST_DATA");
    if (folder == nullptr || *folder == '\0') {
        return std::nullopt;
    }
    return std::filesystem::absolute(folder);
}

}  // namespace cali::test
