#include "captures/frame_series.h"

#include <map>

#include "base/error.h"
#include "captures/file_patterns.h"

namespace cali::host {
namespace {

bool is_capture(const std::filesystem::path& file) { return file.extension() == ".raw" || file.extension() == ".pgm"; }

std::vector<std::filesystem::path> captures_in(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file() && is_capture(entry.path())) {
            files.push_back(entry.path());
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
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_directory()) {
            if (auto files = captures_in(entry.path()); !files.empty()) {
                groups[entry.path().filename().string()] = std::move(files);
            }
        }
    }
    if (groups.empty()) {
        for (const std::filesystem::path& file : captures_in(folder)) {
            const std::string stem = file.stem().string();
            groups[stem.substr(0, stem.rfind('_'))].push_back(file);
        }
    }
    if (groups.empty()) {
        throw InputError(folder.string() + ": holds no captures (.raw or .pgm), nor folders with any");
    }
    std::vector<SeriesLevel> levels;
    levels.reserve(groups.size());
    for (auto& [name, files] : groups) {
        levels.push_back({std::move(files)});
    }
    return levels;
}

}  // namespace cali::host
