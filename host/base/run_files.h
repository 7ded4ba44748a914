/// The files of one run: no output may be one of its inputs, nor another output.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace cali::host {

/// Told of every file before any work. `what` is the file's role as messages name it: "--results", "capture". All throw
/// InputError where an output is the same file as another of the run (by device and inode, or by its path where it does
/// not exist yet). Pipes and devices are no such files; standard output is, as an output.
class RunFiles {
public:
    /// Read only.
    void input(const std::filesystem::path& path, const std::string& what) { add({path, what, Use::input}); }
    /// Read for its values: a results file, which may be the one that grows.
    void values(const std::filesystem::path& path, const std::string& what) { add({path, what, Use::values}); }
    void output(const std::filesystem::path& path, const std::string& what) { add({path, what, Use::output}); }
    /// A results file that is read and written.
    void growing(const std::filesystem::path& path, const std::string& what) { add({path, what, Use::growing}); }
    /// Lines for people, which may share standard output with others; none where the path is empty.
    void log(const std::filesystem::path& path);

    /// Whether an output other than the log goes to standard output, where nothing else may be printed then.
    [[nodiscard]] bool standard_output_taken() const { return taker() != nullptr; }
    /// Throws InputError where it is taken, for an option that prints there.
    void require_standard_output(const std::string& option) const;

private:
    enum class Use { input, values, output, growing, log };
    struct File {
        std::filesystem::path name;  ///< as the user wrote it
        std::string what;
        Use use;
        std::filesystem::path path = {};  ///< absolute, without links
    };

    void add(File file);
    [[nodiscard]] const File* taker() const;

    std::vector<File> files_;
};

}  // namespace cali::host
