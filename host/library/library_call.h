/// Keeps what the library prints apart from what the program prints.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>

namespace cali::host {

/// Where the library's standard output goes during a call.
class LibraryOutput {
public:
    /// Kept until the call is over and shown on standard error only where the call fails.
    LibraryOutput();
    /// Shown on standard error as it comes.
    static LibraryOutput verbose();
    /// Collected in a file. Throws InputError.
    static LibraryOutput to_file(const std::filesystem::path& file);

    /// Runs one export and returns its status.
    int call(const char* name, const std::function<int()>& run) const;

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    enum class Mode { keep, verbose, file };

    explicit LibraryOutput(Mode mode, std::FILE* file) : mode_(mode), file_(file) {}

    Mode mode_;
    std::unique_ptr<std::FILE, CloseFile> file_;
};

}  // namespace cali::host
