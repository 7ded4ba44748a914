#include "base/run_files.h"

#include <algorithm>

#include "base/error.h"
#include "base/output_file.h"

namespace cali::host {
namespace {

/// Options stand for themselves: "--results r.json", but "the capture c.raw".
std::string in_words(const std::string& what, const std::filesystem::path& name) {
    return (what.starts_with("-") ? "" : "the ") + what + " " + name.string();
}

std::filesystem::path resolved(const std::filesystem::path& name) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::absolute(behind_links(name), error);
    return std::filesystem::weakly_canonical(file.parent_path(), error) / file.filename();
}

}  // namespace

void RunFiles::log(const std::filesystem::path& path) {
    if (!path.empty()) {
        add({path, "--log", Use::log});
    }
}

const RunFiles::File* RunFiles::taker() const {
    const auto found = std::ranges::find_if(files_, [](const File& file) {
        return (file.use == Use::output || file.use == Use::growing) && is_standard_output(file.name);
    });
    return found == files_.end() ? nullptr : &*found;
}

void RunFiles::require_standard_output(const std::string& option) const {
    if (const File* const file = taker()) {
        throw InputError(option + " and " + file->what + " " + file->name.string() +
                         " both write to standard output, expected one");
    }
}

void RunFiles::add(File file) {
    const auto is_written = [](Use use) { return use == Use::output || use == Use::growing || use == Use::log; };
    const bool written = is_written(file.use);
    if (written && is_standard_output(file.name)) {
        file.path = "/dev/stdout";
    } else if (file.name != "-" && is_passed_on(file.name)) {
        return;
    } else {
        file.path = resolved(file.name);
    }
    for (const File& other : files_) {
        const bool other_written = is_written(other.use);
        const bool grows = (file.use == Use::growing && other.use == Use::values) ||
                           (file.use == Use::values && other.use == Use::growing);
        std::error_code error;  // where one does not exist
        const bool same = file.path == other.path || std::filesystem::equivalent(file.path, other.path, error);
        if (same && !grows && (written || other_written)) {
            const File& output = written ? file : other;
            const File& twin = written ? other : file;
            throw InputError(output.what + " " + output.name.string() + ": is also " + in_words(twin.what, twin.name) +
                             ", expected a file of its own");
        }
    }
    files_.push_back(std::move(file));
}

}  // namespace cali::host
