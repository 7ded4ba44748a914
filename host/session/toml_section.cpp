#include "session/toml_section.h"

#include <toml++/toml.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "base/error.h"
#include "base/text.h"
#include "captures/file_patterns.h"

namespace cali::host {
namespace {

const toml::table* as_table(const void* table) { return static_cast<const toml::table*>(table); }

const toml::node* find(const void* table, std::string_view key) {
    return table == nullptr ? nullptr : as_table(table)->get(key);
}

/// The elements of a list, or the one value that stands in place of it.
template <typename Use>
void for_each_element(const toml::node* node, Use use) {
    if (node == nullptr) {
        return;
    }
    if (const toml::array* list = node->as_array()) {
        for (const toml::node& element : *list) {
            use(element);
        }
    } else {
        use(*node);
    }
}

constexpr const char* kCodes = "a whole number, or four of them for RR, GR, GB, BB";

/// What stands there, for messages.
std::string description(const toml::node& node) {
    std::ostringstream text;
    if (node.is_table()) {
        return "a table";
    }
    if (node.is_array()) {
        text << "a list of " << node.as_array()->size();
    } else if (node.is_string()) {
        text << "the text '" << node.ref<std::string>() << "'";
    } else if (node.is_boolean()) {
        text << "the truth value " << (node.ref<bool>() ? "true" : "false");
    } else if (node.is_integer()) {
        text << "the whole number " << node.ref<int64_t>();
    } else if (node.is_floating_point()) {
        text << "the number " << node.ref<double>();
    } else {
        text << "a date or time";
    }
    return text.str();
}

toml::table parse(const std::filesystem::path& file, const char* what) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        throw InputError(file.string() + ": no such " + what);
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw InputError(file.string() + ": cannot be read");
    }
    try {
        return toml::parse(stream, file.string());
    } catch (const toml::parse_error& problem) {
        std::ostringstream text;
        text << file.string() << ": not valid TOML: " << problem.description() << " (line "
             << problem.source().begin.line << ", column " << problem.source().begin.column << ")";
        throw InputError(text.str());
    }
}

}  // namespace

struct TomlSection::Document {
    toml::table root;
};

TomlSection::TomlSection(std::shared_ptr<const Document> document, const void* table, std::string name,
                         std::filesystem::path folder)
    : document_(std::move(document)), table_(table), name_(std::move(name)), folder_(std::move(folder)) {}

TomlSection TomlSection::read_file(const std::filesystem::path& file, const char* what) {
    const auto document = std::make_shared<const Document>(Document{parse(file, what)});
    return {document, &document->root, file.string(), file.parent_path()};
}

void TomlSection::allow_only(std::initializer_list<std::string_view> keys) const {
    if (table_ == nullptr) {
        return;
    }
    for (const auto& [key, value] : *as_table(table_)) {
        if (std::ranges::find(keys, key.str()) == keys.end()) {
            std::ostringstream text;
            text << name_ << ": unknown key '" << key.str() << "' in line " << key.source().begin.line
                 << ", expected one of";
            for (const std::string_view known : keys) {
                text << ' ' << known;
            }
            throw InputError(text.str());
        }
    }
}

TomlSection TomlSection::section(std::string_view key) const {
    const toml::node* const node = find(table_, key);
    if (node != nullptr && !node->is_table()) {
        fail(key, node, "a table");
    }
    return entry(node == nullptr ? nullptr : node->as_table(), key);
}

TomlSection TomlSection::entry(const void* table, std::string_view key) const {
    return {document_, table, where(key), folder_};
}

void TomlSection::fail(std::string_view key, const void* node, const std::string& expected) const {
    throw InputError(where(key) + " is " + description(*static_cast<const toml::node*>(node)) + ", expected " +
                     expected);
}

bool TomlSection::holds(std::string_view key) const { return find(table_, key) != nullptr; }

std::vector<int64_t> TomlSection::codes(std::string_view key) const {
    std::vector<int64_t> numbers;
    const toml::node* const node = find(table_, key);
    for_each_element(node, [&](const toml::node& element) {
        const auto number = element.value_exact<int64_t>();
        if (!number) {
            fail(key, &element, kCodes);
        }
        numbers.push_back(*number);
    });
    if (numbers.size() != 1 && numbers.size() != 4) {
        fail(key, node, kCodes);
    }
    return numbers;
}

std::vector<std::pair<std::string, std::array<double, 2>>> TomlSection::number_pairs() const {
    std::vector<std::pair<std::string, std::array<double, 2>>> pairs;
    if (table_ == nullptr) {
        return pairs;
    }
    for (const auto& [entry_key, node] : *as_table(table_)) {
        const std::string key(entry_key.str());
        std::vector<double> numbers;
        for_each_element(&node, [&](const toml::node& element) {
            const auto number = element.value<double>();
            if (!number) {
                fail(key, &element, "two numbers, [warn, fail]");
            }
            numbers.push_back(*number);
        });
        if (numbers.size() != 2) {
            fail(key, &node, "two numbers, [warn, fail]");
        }
        pairs.push_back({key, {numbers[0], numbers[1]}});
    }
    return pairs;
}

std::optional<double> TomlSection::number_within(std::string_view key, double least, double most,
                                                 const char* unit) const {
    const std::optional<double> found = number(key);
    if (found && !(*found >= least && *found <= most)) {
        throw InputError(where(key) + host::text(" is %g, expected %g to %g%s", *found, least, most, unit));
    }
    return found;
}

template <typename T>
std::optional<T> TomlSection::value(std::string_view key, const char* expected) const {
    const toml::node* const node = find(table_, key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::optional<T> found = node->value<T>();
    if (!found) {
        fail(key, node, expected);
    }
    return found;
}

std::optional<int64_t> TomlSection::whole_number(std::string_view key) const {
    return value<int64_t>(key, "a whole number");
}

std::optional<double> TomlSection::number(std::string_view key) const { return value<double>(key, "a number"); }

std::optional<bool> TomlSection::yes_or_no(std::string_view key) const { return value<bool>(key, "true or false"); }

std::optional<std::string> TomlSection::text(std::string_view key) const {
    return value<std::string>(key, "a text in quotes");
}

std::optional<std::filesystem::path> TomlSection::file(std::string_view key) const {
    const auto name = value<std::string>(key, "a file name");
    return name ? std::optional(folder_ / path_of(*name)) : std::nullopt;
}

std::vector<std::filesystem::path> TomlSection::files(std::string_view key) const {
    std::vector<std::filesystem::path> files;
    for_each_element(find(table_, key), [&](const toml::node& element) {
        const auto name = element.value_exact<std::string>();
        if (!name) {
            fail(key, &element, "a file name or a list of them");
        }
        files.push_back(folder_ / path_of(*name));
    });
    return files;
}

std::vector<std::filesystem::path> TomlSection::files_or_glob() const {
    std::vector<std::filesystem::path> found = files("files");
    if (const auto pattern = text("glob")) {
        const auto matched = matching_files(folder_ / path_of(*pattern));
        found.insert(found.end(), matched.begin(), matched.end());
    }
    return found;
}

std::vector<CaptureEntry> TomlSection::entries(std::string_view key, bool lit) const {
    std::vector<CaptureEntry> captures;
    for_each_element(find(table_, key), [&](const toml::node& element) {
        if (const auto name = element.value_exact<std::string>()) {
            captures.push_back({{folder_ / path_of(*name)}, {}, {}});
            return;
        }
        if (!element.is_table()) {
            fail(key, &element,
                 lit ? "file names or tables such as { file = \"grey.raw\", illuminant_k = 5000 }"
                     : "file names or tables such as { file = \"dark.raw\", gain = 2 }");
        }
        const TomlSection table = entry(element.as_table(), key);
        if (lit) {
            table.allow_only({"file", "files", "glob", "illuminant_k", "gain", "exposure_ms"});
        } else {
            table.allow_only({"file", "files", "glob", "gain", "exposure_ms"});
        }
        CaptureEntry& capture = captures.emplace_back();
        capture.files = table.files_or_glob();
        if (const auto file = table.file("file")) {
            capture.files.insert(capture.files.begin(), *file);
        }
        if (capture.files.empty()) {
            throw InputError(table.name_ + ": an entry has no 'file'");
        }
        capture.taken.illuminant_k = table.number_within("illuminant_k", kLeastLightK, kMostLightK, " kelvin");
        capture.taken.gain = table.number_within("gain", kLeastGain, kMostGain, "");
        capture.exposure_ms = table.number_within("exposure_ms", 0, kMostExposureMs, " ms");
    });
    return captures;
}

std::vector<SeriesLevel> TomlSection::series(std::string_view key) const {
    std::vector<SeriesLevel> levels;
    for_each_element(find(table_, key), [&](const toml::node& element) {
        if (!element.is_table()) {
            fail(key, &element, "tables such as { files = [\"level1_a.raw\", \"level1_b.raw\"] }");
        }
        const TomlSection level = entry(element.as_table(), key);
        level.allow_only({"files", "glob", "gain"});
        levels.push_back({level.files_or_glob(), level.number_within("gain", kLeastGain, kMostGain, "")});
    });
    return levels;
}

std::optional<Window> TomlSection::window(std::string_view key) const {
    const auto numbers = whole_numbers(key, 4, "[x, y, width, height]");
    return numbers ? std::optional(Window{(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]}) : std::nullopt;
}

std::optional<std::vector<std::vector<double>>> TomlSection::number_rows(std::string_view key, std::size_t count,
                                                                         std::size_t length, double least,
                                                                         const char* expected) const {
    const toml::node* const node = find(table_, key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::vector<std::vector<double>> rows;
    for_each_element(node, [&](const toml::node& element) {
        std::vector<double>& row = rows.emplace_back();
        for_each_element(&element, [&](const toml::node& entry) {
            const auto number = entry.value<double>();
            if (!number || !(*number >= least && *number <= kMaxSide)) {
                fail(key, &entry, expected);
            }
            row.push_back(*number);
        });
        if (row.size() != length) {
            fail(key, &element, expected);
        }
    });
    if (rows.size() != count) {
        fail(key, node, expected);
    }
    return rows;
}

std::optional<std::vector<int>> TomlSection::whole_numbers(std::string_view key, std::size_t count,
                                                           const char* expected) const {
    const toml::node* const node = find(table_, key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::vector<int> numbers;
    for_each_element(node, [&](const toml::node& element) {
        if (const auto number = element.value_exact<int64_t>()) {
            numbers.push_back(check_number(*number, 0, kMaxSide, where(key)));
        }
    });
    if (!node->is_array() || numbers.size() != count || node->as_array()->size() != count) {
        fail(key, node, expected);
    }
    return numbers;
}

}  // namespace cali::host
