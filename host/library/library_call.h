/// Keeps what the library prints apart from what the program prints.
#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

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

    /// Runs one export and returns its status. Throws OutputError where the file does not take what is printed, and
    /// std::bad_alloc where the export fails without a warning.
    int call(const char* name, const std::function<int()>& run) const;

    /// The library's warnings for its operator ("caption: text") since they were last taken.
    [[nodiscard]] std::vector<std::string> take_warnings() const { return std::exchange(notes_->warnings, {}); }
    /// Lines that the library printed where its output is kept, and those among them that say WARN.
    struct Lines {
        std::size_t all = 0;
        std::size_t warn = 0;
    };
    [[nodiscard]] const Lines& lines() const { return notes_->lines; }

    /// For a process beside this one, whose output `take` is given: as this is, but what is shown or logged is held
    /// back.
    [[nodiscard]] LibraryOutput beside() const;
    struct Held {
        std::string text;
        Lines lines;
    };
    [[nodiscard]] Held held() const;
    /// Throws OutputError where the file does not take it.
    void take(const Held& held) const;

private:
    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    enum class Mode { keep, verbose, file };
    struct Notes {
        std::vector<std::string> warnings;
        Lines lines;
    };

    void require_taken(bool taken) const;
    int call_redirected(const char* name, const std::function<int()>& run) const;

    LibraryOutput(Mode mode, std::FILE* file, std::filesystem::path name)
        : mode_(mode), name_(std::move(name)), file_(file) {}

    Mode mode_;
    std::filesystem::path name_;
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::unique_ptr<Notes> notes_ = std::make_unique<Notes>();  ///< calls are made through const references
};

}  // namespace cali::host
