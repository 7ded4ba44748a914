#include "captures/geometry.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

std::optional<int> to_number(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
}

constexpr const char* kMono = "MONO";

std::string upper_case(std::string text) {
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

/// Takes a part of a name such as "1920x1080", "12bits" or "RGGB"; false where it is none.
bool take_part(Geometry& geometry, const std::string& part) {
    const auto sensible = [](std::optional<int> number, int low, int high) {
        return number && *number >= low && *number <= high;
    };
    if (const std::size_t cross = part.find('x'); cross != std::string::npos) {
        const auto width = to_number(std::string_view(part).substr(0, cross));
        const auto height = to_number(std::string_view(part).substr(cross + 1));
        if (sensible(width, 1, kMaxSide) && sensible(height, 1, kMaxSide)) {
            geometry.width = width;
            geometry.height = height;
            return true;
        }
    }
    if (const std::size_t unit = part.find("bit"); unit != std::string::npos) {
        const auto bits = to_number(std::string_view(part).substr(0, unit));
        const std::string_view rest = std::string_view(part).substr(unit);
        if ((rest == "bit" || rest == "bits") && sensible(bits, kMinBits, kMaxBits)) {
            geometry.bits = bits;
            return true;
        }
    }
    if (std::ranges::find(kPatternNames, upper_case(part)) != kPatternNames.end() || upper_case(part) == kMono) {
        set_pattern(geometry, part, "");
        return true;
    }
    return false;
}

}  // namespace

void require_known(const std::filesystem::path& file, bool known, const char* what, const char* option) {
    if (!known) {
        throw InputError(file.string() + ": its " + what + " is not known, expected " + option +
                         " or a session file that tells");
    }
}

std::string to_text(const Window& window) {
    return cali::host::text("[%d, %d, %d, %d]", window.x, window.y, window.width, window.height);
}

bool same_sensor(const SensorGeometry& a, const SensorGeometry& b) {
    return a.width == b.width && a.height == b.height && a.pattern == b.pattern && a.bits == b.bits && a.mono == b.mono;
}

std::string pattern_text(const SensorGeometry& sensor) { return sensor.mono ? kMono : pattern_name(sensor.pattern); }

std::string to_text(const SensorGeometry& sensor) {
    return by(sensor.width, sensor.height) +
           cali::host::text(", %s, %d bits", pattern_text(sensor).c_str(), sensor.bits);
}

void require_same_sensor(const SensorGeometry& found, const std::string& file, const SensorGeometry& expected,
                         const std::string& expected_file) {
    if (!same_sensor(found, expected)) {
        throw InputError(file + ": " + to_text(found) + "; " + expected_file + ": " + to_text(expected) +
                         ": expected one sensor");
    }
}

int check_number(int64_t found, int64_t low, int64_t high, const std::string& what) {
    if (found < low || found > high) {
        throw InputError(what + " is " + std::to_string(found) + ", expected " + std::to_string(low) + " to " +
                         std::to_string(high));
    }
    return static_cast<int>(found);
}

std::pair<int, int> parse_sides(const std::string& text, const std::string& what, const char* example) {
    const std::size_t cross = text.find('x');
    const auto width = to_number(std::string_view(text).substr(0, std::min(cross, text.size())));
    const auto height = cross == std::string::npos ? std::nullopt : to_number(std::string_view(text).substr(cross + 1));
    if (!width || !height) {
        throw InputError(what + " is '" + text + "', expected " + example);
    }
    return {*width, *height};
}

void set_size(Geometry& geometry, const std::string& text) {
    const auto [width, height] = parse_sides(text, "size", "WIDTHxHEIGHT such as 1920x1080");
    geometry.width = check_number(width, 1, kMaxSide, "width");
    geometry.height = check_number(height, 1, kMaxSide, "height");
}

int parse_pattern(const std::string& text, const std::string& where) {
    const std::string upper = upper_case(text);
    for (std::size_t i = 0; i < kPatternNames.size(); ++i) {
        if (upper == kPatternNames[i] || upper == std::to_string(i)) {
            return static_cast<int>(i);
        }
    }
    throw InputError(where + " is '" + text + "', expected BGGR, GBRG, GRBG or RGGB");
}

void set_pattern(Geometry& geometry, const std::string& text, const std::string& where) {
    geometry.mono = upper_case(text) == kMono;
    try {
        geometry.pattern = parse_pattern(geometry.mono ? "RGGB" : text, where);
    } catch (const InputError&) {
        throw InputError(where + " is '" + text + "', expected BGGR, GBRG, GRBG, RGGB or MONO");
    }
}

Packing parse_packing(const std::string& text, const std::string& where) {
    const auto* const name = std::ranges::find(kPackingNames, text);
    if (name == kPackingNames.end()) {
        throw InputError(where + " is '" + text + "', expected none, raw10, raw12 or raw14");
    }
    return static_cast<Packing>(name - kPackingNames.begin());
}

bool parse_byte_order(const std::string& text, const std::string& where) {
    if (text != "little" && text != "big") {
        throw InputError(where + " is '" + text + "', expected little or big");
    }
    return text == "big";
}

Geometry geometry_of_name(const std::filesystem::path& file) {
    Geometry geometry;
    geometry.source = "its name";
    std::istringstream name(file.stem().string());
    for (std::string part; std::getline(name, part, '_');) {
        (void)take_part(geometry, part);
    }
    return geometry;
}

std::string stem_without_geometry(const std::filesystem::path& file) {
    std::string stem = file.stem().string();
    Geometry taken;
    for (std::size_t bar = stem.rfind('_'); bar != std::string::npos && take_part(taken, stem.substr(bar + 1));
         bar = stem.rfind('_')) {
        stem.resize(bar);
    }
    return stem;
}

}  // namespace cali::host
