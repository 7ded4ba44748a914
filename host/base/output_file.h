/// Files that appear whole or not at all.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace cali::host {

/// Writes under a temporary name beside the target; `commit` renames it. Without it the temporary file is removed.
/// Throws InputError where the file cannot be made or written.
class OutputFile {
public:
    explicit OutputFile(std::filesystem::path target);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] std::ofstream& stream() { return stream_; }
    void commit();

private:
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::ofstream stream_;
    bool committed_ = false;
};

/// A whole file at once.
void write_text_file(const std::filesystem::path& target, const std::string& text);

/// Makes the folder and its parents. Throws InputError.
void make_folder(const std::filesystem::path& folder);

}  // namespace cali::host
