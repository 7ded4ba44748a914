/// Files that appear whole or not at all.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

namespace cali::host {

/// Where writing to a name ends: symbolic links are followed, also one to what does not exist yet. Throws InputError
/// where they run in a ring.
[[nodiscard]] std::filesystem::path behind_links(const std::filesystem::path& name);

/// "-" and /dev/stdout.
[[nodiscard]] bool is_standard_output(const std::filesystem::path& name);

/// Whether what is written to the name is passed on at once and replaces nothing: standard output, pipes, devices.
[[nodiscard]] bool is_passed_on(const std::filesystem::path& name);

/// Throws OutputError where standard output took less than was printed. Called at the end of a run.
void require_standard_output();

/// Writes under a temporary name beside the target; `commit` renames it. Without it the temporary file is removed. A
/// replaced file's permissions stay, and so does a link to it. "-", pipes and devices are written to directly. Throws
/// InputError where the target can never be written, OutputError where it does not take what is written.
class OutputFile {
public:
    explicit OutputFile(std::filesystem::path target);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    [[nodiscard]] std::ostream& stream() { return stream_; }
    [[nodiscard]] const std::filesystem::path& target() const { return target_; }
    void commit();

private:
    friend class PendingFiles;

    /// Keeps why writing failed.
    class Buffer : public std::streambuf {
    public:
        std::FILE* file = nullptr;
        int error = 0;

    protected:
        std::streamsize xsputn(const char* text, std::streamsize count) override;
        int_type overflow(int_type character) override;
    };

    void open_temporary();
    [[noreturn]] void fail(int error) const;
    /// Everything so far is on the disk, still under the temporary name.
    void flush();
    /// Takes the name of its target.
    void appear();
    /// So that the name outlives a loss of power.
    void flush_name() const;
    void close();

    std::filesystem::path target_;
    std::filesystem::path destination_;  ///< behind links; empty where writing is direct
    std::filesystem::path folder_;       ///< of the destination
    std::filesystem::path temporary_;    ///< empty where there is none (any more)
    std::string temporary_name_;         ///< the same in UTF-8, which handlers of signals read
    Buffer buffer_;
    std::ostream stream_{&buffer_};
};

/// Files of one run: each is written as soon as its content is there, all appear together at its end.
class PendingFiles {
public:
    /// To be written to its stream. Throws as OutputFile.
    OutputFile& add(const std::filesystem::path& target) {
        return *files_.emplace_back(std::make_unique<OutputFile>(target));
    }
    void add_text(const std::filesystem::path& target, const std::string& text) { add(target).stream() << text; }

    /// In the order they were added.
    [[nodiscard]] std::vector<std::filesystem::path> targets() const;
    /// Where one cannot be written none appears, and no signal ends the program between the first and the last.
    void commit();

private:
    std::vector<std::unique_ptr<OutputFile>> files_;
};

/// A whole file at once.
void write_text_file(const std::filesystem::path& target, const std::string& text);

/// Makes the folder and its parents. Throws InputError.
void make_folder(const std::filesystem::path& folder);

}  // namespace cali::host
