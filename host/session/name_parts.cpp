#include "session/name_parts.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string_view>
#include <utility>
#include <vector>

#include "captures/capture_entry.h"

namespace cali::host {
namespace {

constexpr double kLeastNamedK = 1000;
constexpr double kMostNamedK = 25000;  // tools write no higher ones, and "IMG_40000K" is rather a number

constexpr std::array<std::pair<std::string_view, CaptureKind>, 9> kWords = {{{"dark", CaptureKind::dark},
                                                                             {"flat", CaptureKind::flat},
                                                                             {"alsc", CaptureKind::flat},
                                                                             {"lsc", CaptureKind::flat},
                                                                             {"grey", CaptureKind::grey},
                                                                             {"gray", CaptureKind::grey},
                                                                             {"chart", CaptureKind::chart},
                                                                             {"noise", CaptureKind::noise},
                                                                             {"series", CaptureKind::noise}}};

std::vector<std::string> parts_of(const std::string& name) {
    std::vector<std::string> parts(1);
    for (const char c : name) {
        if (c == '_' || c == '-' || c == '.' || c == ' ') {
            parts.emplace_back();
        } else {
            parts.back().push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        }
    }
    std::erase(parts, "");
    return parts;
}

/// The number before a unit: 5000 of "5000k".
std::optional<double> number_before(const std::string& part, char unit) {
    if (part.size() < 2 || part.back() != unit) {
        return std::nullopt;
    }
    unsigned value = 0;
    const char* const end = part.data() + part.size() - 1;
    const auto [at, error] = std::from_chars(part.data(), end, value);
    return error == std::errc{} && at == end ? std::optional<double>(value) : std::nullopt;
}

/// "dark", or "dark12".
std::optional<CaptureKind> kind_of(const std::string& part) {
    for (const auto& [word, kind] : kWords) {
        if (part.compare(0, word.size(), word) == 0 &&
            part.find_first_not_of("0123456789", word.size()) == std::string::npos) {
            return kind;
        }
    }
    return std::nullopt;
}

void read_parts(const std::vector<std::string>& words, NameParts& parts) {
    bool lux = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (const auto kind = kind_of(word); kind && !parts.kind) {
            parts.kind = kind;
            if (kind == CaptureKind::noise && i + 1 < words.size() && parts.level.empty()) {
                parts.level = words[i + 1];
            }
        }
        const auto kelvin = number_before(word, 'k');
        if (kelvin >= kLeastNamedK && kelvin <= kMostNamedK && !parts.illuminant_k) {
            parts.illuminant_k = kelvin;
        }
        lux = lux || number_before(word, 'l');
        if (word.size() > 1 && word[0] == 'g' && !parts.gain) {
            const auto gain = number_before(word.substr(1) + "g", 'g');
            parts.gain = gain >= kLeastGain && gain <= kMostGain ? gain : std::nullopt;
        }
    }
    if (!parts.kind && lux && parts.illuminant_k) {
        parts.kind = CaptureKind::chart;
    }
}

}  // namespace

const char* kind_name(CaptureKind kind) {
    constexpr std::array<const char*, 5> kNames = {"dark frames", "flat fields", "grey cards", "charts",
                                                   "noise series"};
    return kNames[static_cast<std::size_t>(kind)];
}

NameParts name_parts(const std::filesystem::path& file) {
    NameParts parts;
    read_parts(parts_of(file.stem().string()), parts);
    std::vector<std::string> folders;
    for (const std::filesystem::path& folder : file.parent_path()) {
        folders.push_back(folder.string());
    }
    for (std::size_t i = folders.size(); i-- > 0;) {
        const bool named = parts.kind.has_value();
        read_parts(parts_of(folders[i]), parts);
        // Frames lie in a folder for each level, or begin with it.
        if (!named && parts.kind == CaptureKind::noise && parts.level.empty()) {
            const std::vector<std::string> words = parts_of(file.stem().string());
            parts.level = i + 1 < folders.size() ? folders[i + 1] : words.empty() ? "" : words.front();
        }
    }
    return parts;
}

}  // namespace cali::host
