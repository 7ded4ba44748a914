/// Files that appear whole or not at all.
#pragma once

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

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
    [[nodiscard]] const std::filesystem::path& target() const { return target_; }
    void commit();

private:
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::ofstream stream_;
    bool committed_ = false;
};

/// Files of one run: each is written as soon as its content is there, all appear together at its end.
class PendingFiles {
public:
    /// To be written to its stream. Throws InputError.
    OutputFile& add(const std::filesystem::path& target) {
        return *files_.emplace_back(std::make_unique<OutputFile>(target));
    }
    void add_text(const std::filesystem::path& target, const std::string& text) { add(target).stream() << text; }

    /// Returns their names, in the order they were added.
    std::vector<std::filesystem::path> commit();

private:
    std::vector<std::unique_ptr<OutputFile>> files_;
};

/// A whole file at once.
void write_text_file(const std::filesystem::path& target, const std::string& text);

/// Makes the folder and its parents. Throws InputError.
void make_folder(const std::filesystem::path& folder);

}  // namespace cali::host
