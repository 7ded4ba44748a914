#include "captures/frame_series.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

#include "base/error.h"
#include "base/system_file.h"
#include "captures/file_form.h"
#include "captures/file_patterns.h"
#include "captures/geometry.h"

namespace cali::host {
namespace {

/// A folder also holds notes and results; what a capture is called for other reasons can be named in a session.
bool is_capture(const std::filesystem::path& file) {
    constexpr auto kSuffixes =
        std::to_array<std::string_view>({".raw", ".bin", ".pgm", ".png", ".tif", ".tiff", ".dng", ".arw", ".cr2",
                                         ".cr3", ".nef", ".nrw", ".orf", ".pef", ".raf", ".rw2", ".rwl", ".srw"});
    const std::string suffix = lower_suffix(file);
    return std::ranges::find(kSuffixes, suffix) != kSuffixes.end();
}

std::vector<std::filesystem::path> captures_in(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const std::filesystem::path& name : system_file::names_in(folder, error)) {
        if (is_capture(name) && std::filesystem::is_regular_file(folder / name, error)) {
            files.push_back(folder / name);
        }
    }
    sort_naturally(files);
    return files;
}

}  // namespace

std::vector<SeriesLevel> levels_of_folder(const std::filesystem::path& folder) {
    std::error_code error;
    if (!std::filesystem::is_directory(folder, error)) {
        throw InputError(folder.string() + ": no such folder");
    }
    std::map<std::string, std::vector<std::filesystem::path>, NaturalLess> groups;
    for (const std::filesystem::path& name : system_file::names_in(folder, error)) {
        if (std::filesystem::is_directory(folder / name, error)) {
            if (auto files = captures_in(folder / name); !files.empty()) {
                groups[name.string()] = std::move(files);
            }
        }
    }
    if (groups.empty()) {
        for (const std::filesystem::path& file : captures_in(folder)) {
            const std::string stem = stem_without_geometry(file);
            groups[stem.substr(0, stem.rfind('_'))].push_back(file);
        }
    }
    if (groups.empty()) {
        throw InputError(folder.string() + ": holds no captures (such as .raw, .pgm or .dng), nor folders with any");
    }
    std::vector<SeriesLevel> levels;
    levels.reserve(groups.size());
    for (auto& [name, files] : groups) {
        levels.push_back({std::move(files)});
    }
    return levels;
}

}  // namespace cali::host
