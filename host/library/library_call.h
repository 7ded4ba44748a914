/// Keeps what the library prints apart from what the program prints.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <utility>

namespace cali::host {

/// Where the library's standard output goes during a call.
class LibraryOutput {
public:
    /// Kept until the call is over and shown on standard error only where the call fails.
    LibraryOutput();
    /// Shown on standard error as it comes.
    static LibraryOutput verbose();
    /// Collected in a file; "-" is standard output. Throws InputError.
    static LibraryOutput to_file(const std::filesystem::path& file);

    /// Runs one export and returns its status. Throws OutputError where the file does not take what is printed.
    int call(const char* name, const std::function<int()>& run) const;

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    enum class Mode { keep, verbose, file };

    LibraryOutput(Mode mode, std::FILE* file, std::filesystem::path name)
        : mode_(mode), name_(std::move(name)), file_(file) {}

    Mode mode_;
    std::filesystem::path name_;
    std::unique_ptr<std::FILE, CloseFile> file_;
};

}  // namespace cali::host
