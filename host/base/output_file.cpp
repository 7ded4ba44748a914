#include "base/output_file.h"

#include <system_error>

#include "base/error.h"

namespace cali::host {

OutputFile::OutputFile(std::filesystem::path target) : target_(std::move(target)), temporary_(target_) {
    std::error_code error;
    if (std::filesystem::is_directory(target_, error)) {
        throw InputError(target_.string() + ": is a folder, expected a file name to write to");
    }
    temporary_ += ".part";
    stream_.open(temporary_, std::ios::binary | std::ios::trunc);
    if (!stream_) {
        throw InputError(target_.string() + ": cannot be written; does the folder exist, and may it be written to?");
    }
}

OutputFile::~OutputFile() {
    if (!committed_) {
        stream_.close();
        std::error_code ignored;
        std::filesystem::remove(temporary_, ignored);
    }
}

void OutputFile::commit() {
    stream_.close();
    if (!stream_) {
        throw InputError(target_.string() + ": writing failed; is the disk full?");
    }
    std::error_code error;
    std::filesystem::rename(temporary_, target_, error);
    if (error) {
        throw InputError(target_.string() + ": cannot be replaced: " + error.message());
    }
    committed_ = true;
}

std::vector<std::filesystem::path> PendingFiles::commit() {
    std::vector<std::filesystem::path> names;
    for (const std::unique_ptr<OutputFile>& file : files_) {
        file->commit();
        names.push_back(file->target());
    }
    files_.clear();
    return names;
}

void write_text_file(const std::filesystem::path& target, const std::string& text) {
    OutputFile file(target);
    file.stream() << text;
    file.commit();
}

void make_folder(const std::filesystem::path& folder) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error || !std::filesystem::is_directory(folder)) {
        throw InputError(folder.string() + ": is no folder and cannot be made one");
    }
}

}  // namespace cali::host
