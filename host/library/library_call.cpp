#include "library/library_call.h"

#include <algorithm>
#include <array>
#include <new>

#include "base/error.h"
#include "base/output_file.h"
#include "base/process.h"
#include "base/system_file.h"

namespace cali::host {
namespace {

/// Points a stream elsewhere while it lives.
class Redirected {
public:
    Redirected(std::FILE* stream, std::FILE* target) : stream_(stream) {
        (void)std::fflush(stream);
        saved_ = process::redirect(stream, target);
    }
    ~Redirected() { (void)restore(); }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

    /// False where the target did not take all.
    bool restore() {
        if (saved_ < 0) {
            return true;
        }
        const bool taken = std::fflush(stream_) == 0 && std::ferror(stream_) == 0;
        std::clearerr(stream_);  // not the stream's own error
        process::restore(stream_, saved_);
        saved_ = -1;
        return taken;
    }

private:
    std::FILE* stream_;
    int saved_ = -1;
};

std::unique_ptr<std::FILE, int (*)(std::FILE*)> temporary_file() {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(system_file::temporary_file(), std::fclose);
    if (!file) {
        throw OutputError("no temporary file can be made for the library's output; is there no room?");
    }
    return file;
}

/// Calls `use` with every line; lines end with either end.
template <typename Use>
void for_each_line(std::FILE* file, Use use) {
    std::rewind(file);
    std::string line;
    for (int c = 0; (c = std::fgetc(file)) != EOF;) {
        if (c != '\n' && c != '\r') {
            line += static_cast<char>(c);
        } else if (!line.empty()) {
            use(line);
            line.clear();
        }
    }
    if (!line.empty()) {
        use(line);
    }
}

template <typename Use>
void for_each_block(std::FILE* file, Use use) {
    std::rewind(file);
    std::array<char, 4096> block{};
    for (std::size_t count = 0; (count = std::fread(block.data(), 1, block.size(), file)) > 0;) {
        use(std::string_view(block.data(), count));
    }
}

void copy_lines(std::FILE* from, std::FILE* to) {
    for_each_block(from, [to](std::string_view block) {
        std::string lines(block);
        std::ranges::replace(lines, '\r', '\n');
        std::fwrite(lines.data(), 1, lines.size(), to);
    });
}

}  // namespace

LibraryOutput::LibraryOutput() : LibraryOutput(Mode::keep, nullptr, {}) {}

LibraryOutput LibraryOutput::verbose() { return {Mode::verbose, nullptr, {}}; }

LibraryOutput LibraryOutput::to_file(const std::filesystem::path& file) {
    std::FILE* const log =
        is_standard_output(file) ? system_file::duplicate_standard_output() : system_file::create_log(file);
    if (log == nullptr) {
        throw InputError(file.string() + ": cannot be written as the log");
    }
    return {Mode::file, log, file};
}

LibraryOutput LibraryOutput::beside() const {
    return mode_ == Mode::keep ? LibraryOutput() : LibraryOutput(mode_, temporary_file().release(), name_);
}

LibraryOutput::Held LibraryOutput::held() const {
    Held held{{}, notes_->lines};
    if (file_) {
        for_each_block(file_.get(), [&](std::string_view block) { held.text += block; });
    }
    return held;
}

void LibraryOutput::take(const Held& held) const {
    notes_->lines.all += held.lines.all;
    notes_->lines.warn += held.lines.warn;
    if (mode_ == Mode::verbose) {
        std::fwrite(held.text.data(), 1, held.text.size(), stderr);
    } else if (mode_ == Mode::file) {
        const bool taken = std::fwrite(held.text.data(), 1, held.text.size(), file_.get()) == held.text.size();
        require_taken(std::fflush(file_.get()) == 0 && taken);
    }
}

int LibraryOutput::call(const char* name, const std::function<int()>& run) const {
    require_standard_output();  // what was printed before is not the library's
    const auto errors = temporary_file();
    int status = 0;
    {
        const Redirected redirected(stderr, errors.get());
        status = call_redirected(name, run);
    }
    const auto is_warning = [](const std::string& line) { return line.find(" Calib Warning: ") != std::string::npos; };
    bool warned = false;
    for_each_line(errors.get(), [&](const std::string& line) {
        if (is_warning(line)) {
            notes_->warnings.push_back(line);
            warned = true;
        }
    });
    if (status < 0 && !warned) {
        throw std::bad_alloc();
    }
    for_each_line(errors.get(), [&](const std::string& line) {
        if (!is_warning(line)) {
            (void)std::fprintf(stderr, "%s\n", line.c_str());
        }
    });
    return status;
}

void LibraryOutput::require_taken(bool taken) const {
    if (!taken) {
        throw OutputError(name_.string() + ": the log cannot be written; is the disk full?");
    }
}

int LibraryOutput::call_redirected(const char* name, const std::function<int()>& run) const {
    if (mode_ == Mode::file) {
        std::fprintf(file_.get(), "== %s\n", name);
        bool taken = std::fflush(file_.get()) == 0;
        Redirected redirected(stdout, file_.get());
        const int status = run();
        taken = redirected.restore() && taken;
        // Both descriptors share the position in the file.
        std::fseek(file_.get(), 0, SEEK_END);
        require_taken(taken);
        return status;
    }
    const auto kept = temporary_file();
    int status = 0;
    {
        const Redirected redirected(stdout, kept.get());
        status = run();
    }
    for_each_line(kept.get(), [&](const std::string& line) {
        notes_->lines.all += 1;
        notes_->lines.warn += line.find("WARN") != std::string::npos ? 1 : 0;
    });
    if (status != 0 || mode_ == Mode::verbose) {
        copy_lines(kept.get(), mode_ == Mode::verbose && file_ ? file_.get() : stderr);
    }
    return status;
}

}  // namespace cali::host
