#include "base/output_file.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <random>
#include <string_view>
#include <system_error>

#include "base/error.h"
#include "base/process.h"
#include "base/system_file.h"
#include "base/text.h"

namespace cali::host {
namespace {

constexpr std::size_t kMarkLength = 6;
constexpr std::size_t kLongestName = 255;
constexpr const char* kSuffix = ".part";

std::string reason(int error) { return error == 0 ? "unknown error" : std::generic_category().message(error); }

/// ".results.json." of "results.json", cut where the whole name would be too long for a folder.
std::string temporary_prefix(const std::filesystem::path& destination) {
    constexpr std::size_t kMost = kLongestName - 2 - kMarkLength - std::string_view(kSuffix).size();
    std::string name = destination.filename().string();
    if (name.size() > kMost) {
        std::size_t end = kMost;
        while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80) {
            --end;  // not in the midst of a character
        }
        name.resize(end);
    }
    return "." + name + ".";
}

std::string random_mark() {
    constexpr const char* kCharacters = "abcdefghijklmnopqrstuvwxyz0123456789";
    static std::random_device source;
    std::uniform_int_distribution<std::size_t> pick(0, 35);
    std::string mark(kMarkLength, ' ');
    for (char& character : mark) {
        character = kCharacters[pick(source)];
    }
    return mark;
}

/// What runs that were killed left of this target.
void remove_leftovers(const std::filesystem::path& destination, const std::filesystem::path& folder) {
    const std::string prefix = temporary_prefix(destination);
    const std::size_t length = prefix.size() + kMarkLength + std::string_view(kSuffix).size();
    std::error_code error;
    for (const std::filesystem::path& found : system_file::names_in(folder, error)) {
        const std::string name = found.string();
        std::error_code ignored;
        if (name.size() == length && name.starts_with(prefix) && name.ends_with(kSuffix) &&
            std::filesystem::symlink_status(folder / found, ignored).type() == std::filesystem::file_type::regular) {
            system_file::remove_abandoned(folder / found);
        }
    }
}

}  // namespace

std::filesystem::path behind_links(const std::filesystem::path& name) {
    constexpr int kMostLinks = 40;
    std::filesystem::path path = name;
    std::error_code error;
    for (int i = 0; i < kMostLinks; ++i) {
        if (!std::filesystem::is_symlink(path, error)) {
            return path;
        }
        const std::filesystem::path to = std::filesystem::read_symlink(path, error);
        path = path.parent_path() / to;  // what is absolute replaces the folder
    }
    throw InputError(name.string() + ": is a symbolic link that leads nowhere, expected a file name to write to");
}

bool is_standard_output(const std::filesystem::path& name) { return name == "-" || name == "/dev/stdout"; }

bool is_passed_on(const std::filesystem::path& name) {
    return is_standard_output(name) || system_file::is_device(name);
}

void require_standard_output() {
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw OutputError("standard output: writing failed" + (errno == 0 ? "" : ": " + reason(errno)));
    }
}

std::streamsize OutputFile::Buffer::xsputn(const char* text, std::streamsize count) {
    errno = 0;
    const auto written = static_cast<std::streamsize>(std::fwrite(text, 1, static_cast<std::size_t>(count), file));
    if (written < count && error == 0) {
        error = errno;
    }
    return written;
}

OutputFile::Buffer::int_type OutputFile::Buffer::overflow(int_type character) {
    const char text = traits_type::to_char_type(character);
    return xsputn(&text, 1) == 1 ? traits_type::not_eof(character) : traits_type::eof();
}

OutputFile::OutputFile(std::filesystem::path target) : target_(std::move(target)) {
    std::error_code error;
    if (std::filesystem::is_directory(target_, error)) {
        throw InputError(target_.string() + ": is a folder, expected a file name to write to");
    }
    if (is_standard_output(target_)) {
        buffer_.file = stdout;
        return;
    }
    if (is_passed_on(target_)) {
        buffer_.file = system_file::open_existing(target_);
        if (buffer_.file == nullptr) {
            throw InputError(target_.string() + ": cannot be written: " + reason(errno));
        }
        return;
    }
    destination_ = behind_links(target_);
    if (destination_.filename().empty()) {
        throw InputError("'" + target_.string() + "': is no file name, expected one to write to");
    }
    folder_ = destination_.has_parent_path() ? destination_.parent_path() : ".";
    if (std::filesystem::exists(destination_, error) && !system_file::may_be_written(destination_)) {
        throw InputError(target_.string() + ": exists and is protected from writing");
    }
    remove_leftovers(destination_, folder_);
    open_temporary();
}

void OutputFile::open_temporary() {
    do {
        temporary_ = destination_.parent_path() / path_of(temporary_prefix(destination_) + random_mark() + kSuffix);
        temporary_name_ = temporary_.string();
        process::remove_on_signal(temporary_name_.c_str());
        buffer_.file = system_file::create_locked(temporary_, destination_);
        if (buffer_.file == nullptr) {
            const int error = errno;
            process::keep_on_signal(temporary_name_.c_str());
            errno = error;
        }
    } while (buffer_.file == nullptr && errno == EEXIST);
    if (buffer_.file == nullptr) {
        const int error = errno;
        temporary_.clear();
        if (system_file::is_wrong_name(error)) {
            throw InputError(target_.string() +
                             ": cannot be written; does the folder exist, and may it be written to?");
        }
        fail(error);
    }
}

OutputFile::~OutputFile() {
    if (!temporary_.empty()) {
        std::error_code ignored;
        std::filesystem::remove(temporary_, ignored);
        process::keep_on_signal(temporary_name_.c_str());
    }
    close();
}

void OutputFile::close() {
    if (buffer_.file != nullptr && buffer_.file != stdout) {
        (void)std::fclose(buffer_.file);
    }
    buffer_.file = nullptr;
}

void OutputFile::fail(int error) const {
    throw OutputError((is_standard_output(target_) ? "standard output" : target_.string()) +
                      ": writing failed: " + reason(error));
}

void OutputFile::flush() {
    const bool direct = temporary_.empty();
    errno = 0;
    if (!stream_ || !(direct ? std::fflush(buffer_.file) == 0 : system_file::flush_to_disk(buffer_.file))) {
        fail(buffer_.error != 0 ? buffer_.error : errno);
    }
}

/// Needs no memory: nothing but the disk can keep those that follow from appearing, too.
void OutputFile::appear() {
    if (!temporary_.empty()) {
        std::error_code error;
        system_file::replace(temporary_, destination_, error);
        if (error) {
            throw OutputError(target_.string() + ": cannot be replaced: " + error.message());
        }
        process::keep_on_signal(temporary_name_.c_str());
        temporary_.clear();
    }
    close();
}

void OutputFile::flush_name() const {
    if (!destination_.empty() && !system_file::flush_folder(folder_)) {
        throw OutputError(target_.string() + ": is written, but its folder cannot be flushed: " + reason(errno));
    }
}

void OutputFile::commit() {
    flush();
    appear();
    flush_name();
}

std::vector<std::filesystem::path> PendingFiles::targets() const {
    std::vector<std::filesystem::path> names;
    std::ranges::transform(files_, std::back_inserter(names), &OutputFile::target);
    return names;
}

void PendingFiles::commit() {
    for (const std::unique_ptr<OutputFile>& file : files_) {
        file->flush();
    }
    {
        const process::HeldSignals held;
        for (const std::unique_ptr<OutputFile>& file : files_) {
            file->appear();
        }
    }
    for (const std::unique_ptr<OutputFile>& file : files_) {
        file->flush_name();
    }
    files_.clear();
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
