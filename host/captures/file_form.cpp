#include "captures/file_form.h"

#include <algorithm>
#include <cctype>

#include "base/error.h"
#include "base/text.h"
#include "captures/limits.h"

namespace cali::host {

std::string lower_suffix(const std::filesystem::path& file) {
    std::string suffix = file.extension().string();
    std::ranges::transform(suffix, suffix.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return suffix;
}

void set_told_pattern(Capture& capture, const Geometry& geometry) {
    const Geometry named = geometry.pattern ? geometry : geometry_of_name(capture.file);
    require_known(capture.file, named.pattern.has_value(), "colour pattern", "--pattern");
    capture.sensor.pattern = *named.pattern;
    capture.sensor.mono = named.mono;
}

void set_own_size(Capture& capture, int width, int height, const Geometry& geometry) {
    capture.sensor.width = width;
    capture.sensor.height = height;
    const int expected_width = geometry.width.value_or(width);
    const int expected_height = geometry.height.value_or(height);
    if (expected_width != width || expected_height != height) {
        throw InputError(capture.file.string() + ": " + by(width, height) + " samples, expected " +
                         by(expected_width, expected_height) + " by " + geometry.source);
    }
}

void set_own_bits(Capture& capture, int bits, const Geometry& geometry) {
    capture.sensor.bits = geometry.bits.value_or(std::max(bits, kMinBits));
}

void require_plausible_size(const std::filesystem::path& file, uint64_t width, uint64_t height, uint64_t bytes,
                            uint64_t photosites_per_byte) {
    const auto number = [](uint64_t value) { return static_cast<unsigned long long>(value); };
    const std::string size = text("%llu x %llu samples", number(width), number(height));
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide || width * height > kMostPhotosites) {
        throw InputError(
            file.string() + ": " + size +
            text(", expected sides of 1 to %d and at most %llu in all", kMaxSide, number(kMostPhotosites)));
    }
    if (width * height > bytes * photosites_per_byte) {
        throw InputError(file.string() + ": truncated, or its size lies: " + size +
                         text(" in a file of %llu bytes", number(bytes)));
    }
}

std::string truncated_text(uint64_t found, uint64_t expected, const SensorGeometry& sensor) {
    return text("truncated: %llu bytes of samples, expected %llu for ", static_cast<unsigned long long>(found),
                static_cast<unsigned long long>(expected)) +
           by(sensor.width, sensor.height);
}

std::vector<Setting> settings_of(const Capture& capture, const Geometry& geometry) {
    const SensorGeometry& sensor = capture.sensor;
    const CaptureMetadata& metadata = capture.metadata;
    const auto source = [](bool told, Source by_whom) { return told ? by_whom : Source::metadata; };
    std::vector<Setting> settings = {
        {"size", by(sensor.width, sensor.height), source(geometry.width && geometry.height, geometry.size_by)},
        {"pattern", pattern_text(sensor), source(geometry.pattern.has_value(), geometry.pattern_by)},
        {"bits", text("%d", sensor.bits), source(geometry.bits.has_value(), geometry.bits_by)},
    };
    const auto add = [&](const char* name, const std::string& value) {
        settings.push_back({name, value, Source::metadata});
    };
    if (sensor.white_level) {
        add("white level", text("%d", *sensor.white_level));
    }
    if (metadata.gain) {
        settings.push_back({"gain", text("%g", *metadata.gain), source(geometry.gain.has_value(), Source::option)});
    }
    if (metadata.exposure_ms) {
        add("exposure", text("%g ms", *metadata.exposure_ms));
    }
    if (metadata.black_level) {
        const auto& black = *metadata.black_level;
        add("black level", text("%g, %g, %g, %g", black[0], black[1], black[2], black[3]));
    }
    return settings;
}

}  // namespace cali::host
