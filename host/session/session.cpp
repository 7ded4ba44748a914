#include "session/session.h"

#include <toml++/toml.h>
#include <algorithm>
#include <array>
#include <initializer_list>
#include <sstream>
#include <string_view>

#include "base/choice.h"
#include "base/error.h"
#include "calibrations/noise.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 3> kMethodNames = {"median", "mean", "mean_deviation"};

/// A table of the file with the name by which errors speak of it.
class Section {
public:
    Section(const toml::table* table, std::string name, std::filesystem::path folder)
        : table_(table), name_(std::move(name)), folder_(std::move(folder)) {}

    void allow_only(std::initializer_list<std::string_view> keys) const {
        if (table_ == nullptr) {
            return;
        }
        for (const auto& [key, value] : *table_) {
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

    [[nodiscard]] const toml::node* find(std::string_view key) const {
        return table_ == nullptr ? nullptr : table_->get(key);
    }

    [[nodiscard]] std::optional<int64_t> whole_number(std::string_view key) const {
        return value<int64_t>(key, "a whole number");
    }
    [[nodiscard]] std::optional<double> number(std::string_view key) const { return value<double>(key, "a number"); }
    [[nodiscard]] std::optional<bool> yes_or_no(std::string_view key) const {
        return value<bool>(key, "true or false");
    }
    [[nodiscard]] std::optional<std::string> text(std::string_view key) const {
        return value<std::string>(key, "a text in quotes");
    }

    [[nodiscard]] Section section(std::string_view key) const {
        const toml::node* node = find(key);
        if (node != nullptr && !node->is_table()) {
            fail(key, "a table");
        }
        return {node == nullptr ? nullptr : node->as_table(), where(key), folder_};
    }

    /// One text or a list of them.
    [[nodiscard]] std::vector<std::filesystem::path> files(std::string_view key) const {
        std::vector<std::filesystem::path> files;
        const toml::node* node = find(key);
        for_each_element(node, [&](const toml::node& element) {
            const auto name = element.value_exact<std::string>();
            if (!name) {
                fail(key, "a file name or a list of them");
            }
            files.push_back(folder_ / *name);
        });
        return files;
    }

    /// Lists of { file = "...", illuminant_k = 5000 }; a plain file name will do.
    [[nodiscard]] std::vector<LitCapture> lit_captures(std::string_view key) const {
        std::vector<LitCapture> captures;
        for_each_element(find(key), [&](const toml::node& element) {
            if (const auto name = element.value_exact<std::string>()) {
                captures.push_back({folder_ / *name, {}});
                return;
            }
            if (!element.is_table()) {
                fail(key, "file names or tables such as { file = \"grey.raw\", illuminant_k = 5000 }");
            }
            const Section entry(element.as_table(), where(key), folder_);
            entry.allow_only({"file", "illuminant_k"});
            const auto name = entry.text("file");
            if (!name) {
                throw InputError(entry.name_ + ": an entry has no 'file'");
            }
            captures.push_back({folder_ / *name, entry.number("illuminant_k")});
        });
        return captures;
    }

    [[nodiscard]] std::vector<SeriesLevel> series(std::string_view key) const {
        std::vector<SeriesLevel> levels;
        for_each_element(find(key), [&](const toml::node& element) {
            if (!element.is_table()) {
                fail(key, "tables such as { files = [\"level1_a.raw\", \"level1_b.raw\"] }");
            }
            const Section entry(element.as_table(), where(key), folder_);
            entry.allow_only({"files", "glob"});
            std::vector<std::filesystem::path> files = entry.files("files");
            if (const auto pattern = entry.text("glob")) {
                const auto matched = matching_files(folder_ / *pattern);
                files.insert(files.end(), matched.begin(), matched.end());
            }
            levels.push_back({std::move(files)});
        });
        return levels;
    }

    [[nodiscard]] std::optional<Window> window(std::string_view key) const {
        const auto numbers = whole_numbers(key, 4, "[x, y, width, height]");
        return numbers ? std::optional(Window{(*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]})
                       : std::nullopt;
    }

    /// `count` lists of `length` numbers, 0 to 65535 each.
    [[nodiscard]] std::optional<std::vector<std::vector<double>>> number_rows(std::string_view key, std::size_t count,
                                                                              std::size_t length,
                                                                              const char* expected) const {
        const toml::node* node = find(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        std::vector<std::vector<double>> rows;
        for_each_element(node, [&](const toml::node& element) {
            std::vector<double>& row = rows.emplace_back();
            for_each_element(&element, [&](const toml::node& entry) {
                const auto number = entry.value<double>();
                if (!number || !(*number >= 0 && *number <= kMaxSide)) {
                    fail(key, expected);
                }
                row.push_back(*number);
            });
            if (row.size() != length) {
                fail(key, expected);
            }
        });
        if (rows.size() != count) {
            fail(key, expected);
        }
        return rows;
    }

    /// A list of `count` numbers, 0 or more each.
    [[nodiscard]] std::optional<std::vector<int>> whole_numbers(std::string_view key, std::size_t count,
                                                                const char* expected) const {
        const toml::node* node = find(key);
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
            fail(key, expected);
        }
        return numbers;
    }

    [[nodiscard]] std::string where(std::string_view key) const { return name_ + ": " + std::string(key); }

private:
    [[noreturn]] void fail(std::string_view key, const std::string& expected) const {
        throw InputError(where(key) + " is something else, expected " + expected);
    }

    template <typename T>
    [[nodiscard]] std::optional<T> value(std::string_view key, const char* expected) const {
        const toml::node* node = find(key);
        if (node == nullptr) {
            return std::nullopt;
        }
        std::optional<T> found = node->value<T>();
        if (!found) {
            fail(key, expected);
        }
        return found;
    }

    template <typename Use>
    void for_each_element(const toml::node* node, Use use) const {
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

    const toml::table* table_;
    std::string name_;
    std::filesystem::path folder_;
};

Geometry read_geometry(const Section& sensor, const std::string& file) {
    sensor.allow_only({"width", "height", "pattern", "bits"});
    Geometry geometry;
    geometry.source = file;
    if (const auto width = sensor.whole_number("width")) {
        geometry.width = check_number(*width, 1, kMaxSide, sensor.where("width"));
    }
    if (const auto height = sensor.whole_number("height")) {
        geometry.height = check_number(*height, 1, kMaxSide, sensor.where("height"));
    }
    if (const auto pattern = sensor.text("pattern")) {
        geometry.pattern = parse_pattern(*pattern, sensor.where("pattern"));
    }
    if (const auto bits = sensor.whole_number("bits")) {
        geometry.bits = check_number(*bits, kMinBits, kMaxBits, sensor.where("bits"));
    }
    return geometry;
}

ShadingSettings read_shading(const Section& section) {
    section.allow_only({"grid", "type", "denoise"});
    ShadingSettings settings;
    if (const auto grid = section.whole_numbers("grid", 2, "[columns, rows]")) {
        settings.set_grid((*grid)[0], (*grid)[1], section.where("grid"));
    }
    if (const auto type = section.text("type")) {
        settings.type = parse_shading_type(*type, section.where("type"));
    }
    settings.denoise = section.yes_or_no("denoise").value_or(settings.denoise);
    return settings;
}

MatrixSettings read_matrix_settings(const Section& section) {
    section.allow_only({"method", "white", "saturation", "windows", "corners"});
    MatrixSettings settings;
    if (const auto method = section.text("method")) {
        settings.method = parse_matrix_method(*method, section.where("method"));
    }
    if (const auto white = section.text("white")) {
        settings.white_point = parse_white_point(*white, section.where("white"));
    }
    const double saturation = section.number("saturation").value_or(settings.saturation);
    if (!(saturation >= 0 && saturation <= 4)) {
        throw InputError(section.where("saturation") + " is " + std::to_string(saturation) + ", expected 0 to 4");
    }
    settings.saturation = static_cast<float>(saturation);
    if (const auto rows = section.number_rows("windows", kChartPatches, 4, "24 lists of [x, y, width, height]")) {
        std::array<RoiRect, kChartPatches> windows{};
        std::ranges::transform(*rows, windows.begin(), [](const std::vector<double>& row) {
            const auto side = [&](std::size_t i) { return static_cast<int32_t>(row[i]); };
            return RoiRect{side(0), side(1), side(2), side(3)};
        });
        settings.place.windows = windows;
    }
    if (const auto rows = section.number_rows("corners", 4, 2, "4 lists of [x, y]")) {
        Corners corners{};
        std::ranges::transform(*rows, corners.begin(), [](const std::vector<double>& row) {
            return Point{row[0], row[1]};
        });
        settings.place.corners = corners;
    }
    return settings;
}

NoiseSettings read_noise_settings(const Section& section) {
    section.allow_only({"window", "ref_level", "slope_format", "level_format"});
    NoiseSettings settings;
    settings.window = section.window("window");
    if (const auto level = section.whole_number("ref_level")) {
        settings.ref_level = check_number(*level, 0, 4095, section.where("ref_level"));
    }
    settings.slope_format = section.text("slope_format").value_or(settings.slope_format);
    settings.level_format = section.text("level_format").value_or(settings.level_format);
    check_noise_format(settings.slope_format, section.where("slope_format"));
    check_noise_format(settings.level_format, section.where("level_format"));
    return settings;
}

toml::table parse(const std::filesystem::path& file) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        throw InputError(file.string() + ": no such session file");
    }
    try {
        return toml::parse_file(file.string());
    } catch (const toml::parse_error& problem) {
        std::ostringstream text;
        text << file.string() << ": not valid TOML: " << problem.description() << " (line "
             << problem.source().begin.line << ", column " << problem.source().begin.column << ")";
        throw InputError(text.str());
    }
}

}  // namespace

const char* method_name(BlackLevelMethod method) { return kMethodNames[static_cast<std::size_t>(method)]; }

BlackLevelMethod parse_method(const std::string& text, const std::string& where) {
    return parse_choice<BlackLevelMethod>(kMethodNames, text, where);
}

void check_noise_format(const std::string& format, const std::string& where) {
    const std::size_t point = format.find('.');
    const auto digits = [&](std::size_t first, std::size_t last) {
        return last > first && last - first <= 2 && format.find_first_not_of("0123456789", first) >= last;
    };
    constexpr int kMostBits = 31;
    const bool formed = point != std::string::npos && digits(1, point) && digits(point + 1, format.size());
    if (!formed || std::stoi(format.substr(1)) + std::stoi(format.substr(point + 1)) > kMostBits) {
        throw InputError(where + " is '" + format + "', expected a format such as U4.8 of at most 31 bits");
    }
}

Session read_session(const std::filesystem::path& file) {
    const toml::table table = parse(file);
    const Section root(&table, file.string(), file.parent_path());
    root.allow_only({"sensor", "captures", "black_level", "lens_shading", "white_balance", "colour_matrix", "noise"});

    Session session;
    session.file = file;
    session.geometry = read_geometry(root.section("sensor"), file.string());

    const Section captures = root.section("captures");
    captures.allow_only({"dark", "flat", "grey", "chart", "series"});
    session.dark = captures.files("dark");
    session.flat = captures.lit_captures("flat");
    session.grey = captures.lit_captures("grey");
    session.chart = captures.lit_captures("chart");
    session.series = captures.series("series");

    const Section black_level = root.section("black_level");
    black_level.allow_only({"method"});
    if (const auto method = black_level.text("method")) {
        session.black_level_method = parse_method(*method, black_level.where("method"));
    }
    session.shading = read_shading(root.section("lens_shading"));
    const Section white_balance = root.section("white_balance");
    white_balance.allow_only({"window"});
    session.white_balance_window = white_balance.window("window");
    session.noise = read_noise_settings(root.section("noise"));
    session.matrix = read_matrix_settings(root.section("colour_matrix"));
    return session;
}

}  // namespace cali::host
