/// Names of files: patterns and their order.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace cali::host {

/// level_2 before level_10.
struct NaturalLess {
    bool operator()(const std::string& a, const std::string& b) const;
};

void sort_naturally(std::vector<std::filesystem::path>& files);

/// Files that a name with '*' and '?' in its last part matches, in order. Throws InputError where there are none.
[[nodiscard]] std::vector<std::filesystem::path> matching_files(const std::filesystem::path& pattern);

}  // namespace cali::host
