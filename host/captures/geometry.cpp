#include "captures/geometry.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

std::optional<int> to_number(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional(value) : std::nullopt;
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
    return a.width == b.width && a.height == b.height && a.pattern == b.pattern && a.mono == b.mono && a.bits == b.bits;
}

std::string to_text(const SensorGeometry& sensor) {
    return by(sensor.width, sensor.height) +
           cali::host::text(", %s, %d bits", sensor.mono ? kMonoPattern : pattern_name(sensor.pattern), sensor.bits);
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
    std::string upper = text;
    std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (std::size_t i = 0; i < kPatternNames.size(); ++i) {
        if (upper == kPatternNames[i] || upper == std::to_string(i)) {
            return static_cast<int>(i);
        }
    }
    throw InputError(where + " is '" + text + "', expected BGGR, GBRG, GRBG or RGGB");
}

}  // namespace cali::host
