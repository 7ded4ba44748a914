#include "captures/file_patterns.h"

#include <algorithm>
#include <string_view>

#include "base/error.h"
#include "base/system_file.h"

namespace cali::host {
namespace {

/// '*' stands for any text, '?' for one character.
bool matches(std::string_view text, std::string_view pattern) {
    if (pattern.empty()) {
        return text.empty();
    }
    if (pattern.front() == '*') {
        return matches(text, pattern.substr(1)) || (!text.empty() && matches(text.substr(1), pattern));
    }
    return !text.empty() && (pattern.front() == '?' || pattern.front() == text.front()) &&
           matches(text.substr(1), pattern.substr(1));
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

bool NaturalLess::operator()(const std::string& a, const std::string& b) const {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (is_digit(a[i]) && is_digit(b[j])) {
            const auto end_of_number = [](const std::string& text, std::size_t at) {
                while (at < text.size() && is_digit(text[at])) {
                    ++at;
                }
                return at;
            };
            const std::size_t end_i = end_of_number(a, i);
            const std::size_t end_j = end_of_number(b, j);
            const auto number = [](const std::string& text, std::size_t from, std::size_t to) {
                const std::size_t nonzero = text.find_first_not_of('0', from);
                return nonzero >= to ? std::string() : text.substr(nonzero, to - nonzero);
            };
            const std::string first = number(a, i, end_i);
            const std::string second = number(b, j, end_j);
            if (first != second) {
                return first.size() != second.size() ? first.size() < second.size() : first < second;
            }
            i = end_i;
            j = end_j;
        } else if (a[i] != b[j]) {
            return a[i] < b[j];
        } else {
            ++i;
            ++j;
        }
    }
    return a.size() - i < b.size() - j;
}

void sort_naturally(std::vector<std::filesystem::path>& files) {
    std::ranges::sort(files, NaturalLess{}, [](const std::filesystem::path& file) { return file.string(); });
}

std::vector<std::filesystem::path> matching_files(const std::filesystem::path& pattern) {
    std::filesystem::path folder = pattern.parent_path();
    if (folder.empty()) {
        folder = ".";
    }
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const std::filesystem::path& name : system_file::names_in(folder, error)) {
        if (matches(name.string(), pattern.filename().string()) &&
            std::filesystem::is_regular_file(folder / name, error)) {
            files.push_back(pattern.parent_path() / name);
        }
    }
    if (files.empty()) {
        throw InputError(pattern.string() + ": matches no file");
    }
    sort_naturally(files);
    return files;
}

}  // namespace cali::host
