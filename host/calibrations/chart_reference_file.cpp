#include "calibrations/chart_reference_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <string_view>

#include "base/digest.h"
#include "base/error.h"
#include "base/input_file.h"
#include "base/text.h"
#include "chart/chart_table.h"

namespace cali::host {
namespace {

constexpr std::size_t kMostBytes = 1U << 20U;
constexpr const char* kHeader = "'# white D50, observer 2, scale 100'";
constexpr const char* kPatches = "1 to 24, or A1 to D6";
constexpr double kOwnScale = 100;  ///< of CGATS, and of L

using Fields = std::vector<std::string>;

struct Line {
    std::size_t number = 0;  ///< from 1
    std::string_view text;
};

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\f\v";
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// The parts between separators, without the blanks around them.
Fields split(std::string_view text, char separator) {
    Fields fields;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        fields.emplace_back(trimmed(text.substr(at, end - at)));
        at = end + 1;
    }
    return fields;
}

/// Words between blanks; one in quotation marks may hold blanks.
Fields words_of(std::string_view text) {
    Fields words;
    for (text = trimmed(text); !text.empty(); text = trimmed(text)) {
        const bool quoted = text.front() == '"';
        const std::size_t end = std::min(quoted ? text.find('"', 1) : text.find_first_of(" \t"), text.size());
        words.emplace_back(text.substr(quoted ? 1 : 0, end - (quoted ? 1 : 0)));
        text.remove_prefix(std::min(end + (quoted ? 1 : 0), text.size()));
    }
    return words;
}

/// Letters and digits alone, the rest separates.
Fields bare_words(std::string_view text) {
    std::string bare(text);
    std::ranges::replace_if(
        bare, [](unsigned char c) { return std::isalnum(c) == 0; }, ' ');
    return words_of(bare);
}

std::string lower(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// What was found, fit for a line of a message.
std::string excerpt(std::string_view found) {
    constexpr std::size_t kMost = 40;
    std::string shown(found.substr(0, kMost));
    std::ranges::replace_if(
        shown, [](unsigned char c) { return std::isprint(c) == 0; }, '?');
    return "'" + shown + (found.size() > kMost ? "...'" : "'");
}

std::optional<double> number_of(const std::string& field) {
    double value = 0;
    const char* const end = field.data() + field.size();
    const auto [at, error] = std::from_chars(field.data(), end, value);
    return error == std::errc{} && at == end && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

/// From 0, of "7" or "B1".
std::optional<std::size_t> patch_of(const std::string& name) {
    if (name.size() == 2 && std::isdigit(static_cast<unsigned char>(name[0])) == 0) {
        const int row = std::toupper(static_cast<unsigned char>(name[0])) - 'A';
        const int column = name[1] - '1';
        const bool known =
            row >= 0 && row < static_cast<int>(kChartRows) && column >= 0 && column < static_cast<int>(kChartColumns);
        return known ? std::optional(static_cast<std::size_t>(row) * kChartColumns + static_cast<std::size_t>(column))
                     : std::nullopt;
    }
    const auto number = number_of(name);
    const bool known = number && *number >= 1 && *number <= kChartPatches && *number == std::floor(*number);
    return known ? std::optional(static_cast<std::size_t>(*number) - 1) : std::nullopt;
}

std::string patch_name(std::size_t patch) {
    return text("%zu (%c%zu)", patch + 1, static_cast<char>('A' + patch / kChartColumns), patch % kChartColumns + 1);
}

/// Takes the patches of either form, and holds them against what a chart can be.
class Reader {
public:
    explicit Reader(const std::filesystem::path& file) : file_(file) {}

    [[noreturn]] void refuse(const std::string& what) const { throw InputError(file_.string() + ": " + what); }
    [[noreturn]] void refuse(std::size_t line, const std::string& what) const {
        refuse(text("line %zu: ", line) + what);
    }

    void set_white(std::size_t line, const std::string& name) {
        std::string upper = name;
        std::ranges::transform(upper, upper.begin(),
                               [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        if (!named_white(upper, 2)) {
            refuse(line, "white " + excerpt(name) + ", expected A, C, D50, D55, D65, D75 or E");
        }
        white_ = upper;
        white_stated_ = true;
    }

    /// "2", "10degree"; the years of the two standards as well.
    void set_observer(std::size_t line, const std::string& name) {
        const std::string digits = name.substr(0, name.find_first_not_of("0123456789"));
        observer_ = digits == "2" || digits == "1931" ? 2 : digits == "10" || digits == "1964" ? 10 : 0;
        if (observer_ == 0) {
            refuse(line, "observer " + excerpt(name) + ", expected 2 or 10");
        }
        observer_stated_ = true;
    }

    void set_scale(double scale) { scale_ = scale; }
    void set_lab(bool lab) { lab_ = lab; }

    void add(std::size_t line, std::size_t patch, const std::array<std::string, 3>& fields) {
        if (lines_[patch] != 0) {
            refuse(line, "patch " + patch_name(patch) + text(" stands in line %zu already", lines_[patch]));
        }
        lines_[patch] = line;
        constexpr std::array kXyz = {"X", "Y", "Z"};
        constexpr std::array kLab = {"L", "a", "b"};
        for (std::size_t c = 0; c < fields.size(); ++c) {
            const std::string name = lab_ ? kLab[c] : kXyz[c];
            const auto value = number_of(fields[c]);
            if (!value) {
                refuse(line,
                       name + " of patch " + patch_name(patch) + " is " + excerpt(fields[c]) + ", expected a number");
            }
            const double least = lab_ && c != 0 ? -150 : 0;
            const double most = !lab_ ? 1.5 * scale_ : c == 0 ? 110 : 150;
            if (*value < least || *value > most) {
                refuse(line, name + " of patch " + patch_name(patch) +
                                 text(" is %g, expected %g to %g", *value, least, most));
            }
            values_[patch][c] = *value;
        }
    }

    [[nodiscard]] ChartReference finish() const {
        require_all();
        ChartReference reference;
        reference.white = named_white(white_, observer_).value_or(Colour{});
        constexpr const char* kAssumed = " (not stated)";
        reference.light = "white " + white_ + (white_stated_ ? "" : kAssumed) + text(", observer %d", observer_) +
                          (observer_stated_ ? "" : kAssumed);
        for (const Colour& value : values_) {
            reference.xyz.push_back(lab_ ? xyz_of_lab(value, reference.white)
                                         : Colour{value[0] / scale_, value[1] / scale_, value[2] / scale_});
        }
        require_greys(reference);
        return reference;
    }

private:
    void require_all() const {
        std::string missing;
        for (std::size_t patch = 0; patch < lines_.size(); ++patch) {
            missing += lines_[patch] != 0 ? "" : (missing.empty() ? "" : ", ") + patch_name(patch);
        }
        if (!missing.empty()) {
            refuse("no patch " + missing + "; expected each of " + kPatches);
        }
    }

    /// Another scale, order or white than stated shows there.
    void require_greys(const ChartReference& reference) const {
        constexpr double kLeastWhite = 0.5;
        constexpr double kMostWhite = 1.1;
        constexpr double kMostChroma = 10;  // D50 for D65, or X, Y, Z for L, a, b make more
        const std::vector<Colour>& xyz = reference.xyz;
        const double white = xyz[kFirstGrey][1];
        if (white < kLeastWhite || white > kMostWhite) {
            refuse(lines_[kFirstGrey],
                   "the white patch " + patch_name(kFirstGrey) +
                       text(" has %.3g of a perfect white's Y, expected %g to %g: check the scale, and the order of "
                            "the patches",
                            white, kLeastWhite, kMostWhite));
        }
        for (std::size_t patch = kFirstGrey; patch < xyz.size(); ++patch) {
            const Colour lab = lab_of_xyz(xyz[patch], reference.white[0], reference.white[2]);
            const double chroma = std::hypot(lab[1], lab[2]);
            if (chroma > kMostChroma) {
                refuse(lines_[patch], "the grey " + patch_name(patch) +
                                          text(" has a chroma of %.1f, expected at most %g: check the white, the "
                                               "columns and the order of the patches",
                                               chroma, kMostChroma));
            }
            if (patch > kFirstGrey && xyz[patch][1] >= xyz[patch - 1][1]) {
                refuse(lines_[patch], "the grey " + patch_name(patch) + " is no darker than " + patch_name(patch - 1) +
                                          ": check the order of the patches");
            }
        }
    }

    const std::filesystem::path& file_;
    std::string white_ = "D50";
    bool white_stated_ = false;
    int observer_ = 2;
    bool observer_stated_ = false;
    double scale_ = kOwnScale;
    bool lab_ = false;
    std::array<std::size_t, kChartPatches> lines_{};  ///< 0: not there yet
    std::array<Colour, kChartPatches> values_{};
};

// CSV.

/// "white D50, observer 2, scale 100"; CIELAB has a scale of its own.
struct Header {
    bool found = false;
    std::optional<double> scale;
};

Header read_header(Reader& reader, const Line& line, std::string_view content) {
    std::map<std::string, std::string> settings;
    for (const std::string& entry : split(content, ',')) {
        const Fields words = words_of(entry);
        const bool known = words.size() == 2 && (words[0] == "white" || words[0] == "observer" || words[0] == "scale");
        if (!known || !settings.emplace(words[0], words[1]).second) {
            reader.refuse(line.number, excerpt(entry) + " in the header, expected " + kHeader);
        }
    }
    if (settings.count("white") == 0 || settings.count("observer") == 0) {
        reader.refuse(line.number, std::string("the header names no ") +
                                       (settings.count("white") == 0 ? "white" : "observer") + ", expected " + kHeader);
    }
    reader.set_white(line.number, settings["white"]);
    reader.set_observer(line.number, settings["observer"]);
    Header header{true, std::nullopt};
    if (settings.count("scale") != 0) {
        header.scale = number_of(settings["scale"]);
        if (!header.scale || *header.scale <= 0) {
            reader.refuse(line.number, "scale " + excerpt(settings["scale"]) + ", expected Y of a perfect white");
        }
        reader.set_scale(*header.scale);
    }
    return header;
}

void read_columns(Reader& reader, const Line& line, const Header& header) {
    const Fields names = split(line.text, ',');
    const bool lab = names == Fields{"patch", "L", "a", "b"};
    if (!lab && names != Fields{"patch", "X", "Y", "Z"}) {
        reader.refuse(line.number, "the columns are " + excerpt(line.text) + ", expected patch,X,Y,Z or patch,L,a,b");
    }
    if (!header.found) {
        reader.refuse(line.number, std::string("no header before the columns, expected ") + kHeader);
    }
    if (!lab && !header.scale) {
        reader.refuse(line.number, std::string("the header names no scale, expected ") + kHeader);
    }
    if (lab && header.scale.value_or(kOwnScale) != kOwnScale) {
        reader.refuse(line.number, text("scale %g in the header, expected %g with L, a, b", *header.scale, kOwnScale));
    }
    reader.set_lab(lab);
}

void read_csv(Reader& reader, const std::vector<Line>& lines) {
    Header header;
    bool columns = false;
    for (const Line& line : lines) {
        if (line.text.front() == '#') {
            const std::string_view content = trimmed(line.text.substr(1));
            if (!header.found && content.starts_with("white")) {
                header = read_header(reader, line, content);
            }
        } else if (!columns) {
            read_columns(reader, line, header);
            columns = true;
        } else {
            const Fields fields = split(line.text, ',');
            if (fields.size() != 4) {
                reader.refuse(line.number, text("%zu columns, expected 4 with commas between them: a patch and three "
                                                "numbers",
                                                fields.size()));
            }
            const auto patch = patch_of(fields[0]);
            if (!patch) {
                reader.refuse(line.number, "patch " + excerpt(fields[0]) + ", expected " + kPatches);
            }
            reader.add(line.number, *patch, {fields[1], fields[2], fields[3]});
        }
    }
    if (!columns) {
        reader.refuse("holds no columns, expected a CSV with a header " + std::string(kHeader) + ", or a CGATS file");
    }
}

// CGATS.

/// Which of the data's columns are taken.
struct CgatsColumns {
    std::size_t count = 0;
    std::optional<std::size_t> id;
    std::optional<std::size_t> name;
    std::array<std::size_t, 3> values{};
};

CgatsColumns read_format(Reader& reader, std::size_t line, const Fields& names) {
    const auto place = [&](const char* name) {
        const auto at = std::ranges::find(names, name);
        return at == names.end() ? std::nullopt : std::optional(static_cast<std::size_t>(at - names.begin()));
    };
    CgatsColumns columns{names.size(), place("SAMPLE_ID"), place("SAMPLE_NAME"), {}};
    if (!columns.id && !columns.name) {
        reader.refuse(line, "the data have no SAMPLE_ID and no SAMPLE_NAME");
    }
    constexpr std::array<std::array<const char*, 3>, 2> kValues = {
        {{"XYZ_X", "XYZ_Y", "XYZ_Z"}, {"LAB_L", "LAB_A", "LAB_B"}}};
    for (std::size_t kind = 0; kind < kValues.size(); ++kind) {
        std::size_t found = 0;
        for (std::size_t c = 0; c < 3; ++c) {
            if (const auto at = place(kValues[kind][c])) {
                columns.values[c] = *at;
                ++found;
            }
        }
        if (found == 3) {
            reader.set_lab(kind == 1);
            return columns;
        }
    }
    reader.refuse(line, "the data have neither XYZ_X, XYZ_Y, XYZ_Z nor LAB_L, LAB_A, LAB_B");
}

/// A name that is none of a patch's leaves it to the number.
std::size_t cgats_patch(const Reader& reader, std::size_t line, const CgatsColumns& columns, const Fields& fields) {
    for (const auto& column : {columns.name, columns.id}) {
        const auto patch = column ? patch_of(fields[*column]) : std::nullopt;
        if (patch) {
            return *patch;
        }
    }
    reader.refuse(line,
                  "patch " + excerpt(fields[columns.id ? *columns.id : *columns.name]) + ", expected " + kPatches);
}

/// Light and observer, in whichever of its keywords the program that wrote the file states them.
void read_keyword(Reader& reader, std::size_t line, const Fields& fields, std::string_view content) {
    constexpr std::array kTelling = {"WEIGHTING_FUNCTION", "MEASUREMENT_SOURCE", "ILLUMINANT", "OBSERVER"};
    if (std::ranges::find(kTelling, fields.front()) == kTelling.end()) {
        return;
    }
    const Fields words = bare_words(content);
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string key = lower(words[i]);
        if (key == "illuminant" || key == "illumination") {
            reader.set_white(line, words[i + 1]);
        } else if (key == "observer" || key == "observerangle") {
            reader.set_observer(line, words[i + 1]);
        }
    }
}

void read_cgats(Reader& reader, const std::vector<Line>& lines) {
    enum class Part { keywords, format, data } part = Part::keywords;
    Fields names;
    std::optional<CgatsColumns> columns;
    for (const Line& line : lines) {
        if (line.text.front() == '#') {
            continue;
        }
        const Fields fields = words_of(line.text);
        const std::string& first = fields.front();
        if (first == "BEGIN_DATA_FORMAT") {
            part = Part::format;
        } else if (first == "END_DATA_FORMAT") {
            columns = read_format(reader, line.number, names);
            part = Part::keywords;
        } else if (first == "BEGIN_DATA") {
            if (!columns) {
                reader.refuse(line.number, "data without BEGIN_DATA_FORMAT ... END_DATA_FORMAT before them");
            }
            part = Part::data;
        } else if (first == "END_DATA") {
            return;
        } else if (part == Part::format) {
            names.insert(names.end(), fields.begin(), fields.end());
        } else if (part == Part::keywords) {
            read_keyword(reader, line.number, fields, line.text);
        } else {
            if (fields.size() != columns->count) {
                reader.refuse(line.number,
                              text("%zu columns, expected the format's %zu", fields.size(), columns->count));
            }
            const auto& at = columns->values;
            reader.add(line.number, cgats_patch(reader, line.number, *columns, fields),
                       {fields[at[0]], fields[at[1]], fields[at[2]]});
        }
    }
    reader.refuse("ends before END_DATA");
}

/// What is not blank.
std::vector<Line> lines_of(std::string_view content) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";  // of UTF-8, as spreadsheets write it
    content.remove_prefix(content.starts_with(kMark) ? kMark.size() : 0);
    std::vector<Line> lines;
    std::size_t number = 0;
    for (std::size_t at = 0; at < content.size();) {
        const std::size_t end = std::min(content.find('\n', at), content.size());
        ++number;
        const std::string_view line = trimmed(content.substr(at, end - at));
        if (!line.empty()) {
            lines.push_back({number, line});
        }
        at = end + 1;
    }
    return lines;
}

bool is_cgats(const std::vector<Line>& lines) {
    return std::ranges::any_of(
        lines, [](const Line& line) { return line.text.starts_with("BEGIN_DATA") || line.text.starts_with("CGATS"); });
}

std::string read_content(const std::filesystem::path& file, const Reader& reader) {
    std::ifstream stream = open_input(file, "file of the chart's measured colours");
    std::string content(kMostBytes + 1, '\0');
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(stream.gcount()));
    if (content.size() > kMostBytes) {
        reader.refuse(text("more than %zu bytes, expected the 24 patches of a chart", kMostBytes));
    }
    return content;
}

}  // namespace

ChartReference read_chart_reference(const std::filesystem::path& file) {
    Reader reader(file);
    const std::string content = read_content(file, reader);
    const std::vector<Line> lines = lines_of(content);
    if (is_cgats(lines)) {
        read_cgats(reader, lines);
    } else {
        read_csv(reader, lines);
    }
    ChartReference reference = reader.finish();
    reference.input = {file, content.size(),
                       digest_of({reinterpret_cast<const uint8_t*>(content.data()), content.size()})};
    return reference;
}

}  // namespace cali::host
