#include "library/library_call.h"

#include <algorithm>
#include <array>

#include "base/error.h"
#include "base/output_file.h"
#include "base/system_file.h"

#ifdef _WIN32
#include <io.h>
#define dup _dup
#define dup2 _dup2
#define close _close
#define fileno _fileno
#else
#include <unistd.h>
#endif

namespace cali::host {
namespace {

/// Points standard output elsewhere while it lives.
class RedirectedOutput {
public:
    /// Throws OutputError where standard output does not take what was printed before.
    explicit RedirectedOutput(std::FILE* target) {
        require_standard_output();
        saved_ = dup(fileno(stdout));
        if (saved_ >= 0) {
            dup2(fileno(target), fileno(stdout));
        }
    }
    ~RedirectedOutput() { (void)restore(); }
    RedirectedOutput(const RedirectedOutput&) = delete;
    RedirectedOutput& operator=(const RedirectedOutput&) = delete;

    /// False where the target did not take all.
    bool restore() {
        if (saved_ < 0) {
            return true;
        }
        const bool taken = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
        std::clearerr(stdout);  // not standard output's own error
        dup2(saved_, fileno(stdout));
        close(saved_);
        saved_ = -1;
        return taken;
    }

private:
    int saved_ = -1;
};

void copy_to_stderr(std::FILE* file) {
    std::rewind(file);
    std::array<char, 4096> block{};
    for (std::size_t count = 0; (count = std::fread(block.data(), 1, block.size(), file)) > 0;) {
        std::replace(block.begin(), block.end(), '\r', '\n');
        std::fwrite(block.data(), 1, count, stderr);
    }
}

}  // namespace

LibraryOutput::LibraryOutput() : LibraryOutput(Mode::keep, nullptr, {}) {}

LibraryOutput LibraryOutput::verbose() { return {Mode::verbose, nullptr, {}}; }

LibraryOutput LibraryOutput::to_file(const std::filesystem::path& file) {
    std::FILE* const log =
        is_standard_output(file) ? system_file::duplicate_standard_output() : std::fopen(file.string().c_str(), "wb");
    if (log == nullptr) {
        throw InputError(file.string() + ": cannot be written as the log");
    }
    return {Mode::file, log, file};
}

int LibraryOutput::call(const char* name, const std::function<int()>& run) const {
    if (mode_ == Mode::verbose) {
        const RedirectedOutput redirected(stderr);
        return run();
    }
    if (mode_ == Mode::file) {
        std::fprintf(file_.get(), "== %s\n", name);
        bool taken = std::fflush(file_.get()) == 0;
        RedirectedOutput redirected(file_.get());
        const int status = run();
        taken = redirected.restore() && taken;
        // Both descriptors share the position in the file.
        std::fseek(file_.get(), 0, SEEK_END);
        if (!taken) {
            throw OutputError(name_.string() + ": the log cannot be written; is the disk full?");
        }
        return status;
    }
    const std::unique_ptr<std::FILE, CloseFile> kept(std::tmpfile());
    if (!kept) {
        throw InputError("no temporary file can be made for the library's output");
    }
    int status = 0;
    {
        const RedirectedOutput redirected(kept.get());
        status = run();
    }
    if (status != 0) {
        copy_to_stderr(kept.get());
    }
    return status;
}

}  // namespace cali::host
