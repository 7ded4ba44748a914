#include "captures/raw_file.h"

#include <array>
#include <string>
#include <string_view>

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"

namespace cali::host {

namespace {

/// Of forms that hold captures too: recognised by their first bytes.
struct KnownForm {
    std::string_view magic;
    const char* name;
};
constexpr std::array<KnownForm, 6> kKnownForms = {{{std::string_view("II*\0", 4), "TIFF or DNG"},
                                                   {std::string_view("MM\0*", 4), "TIFF or DNG"},
                                                   {"\x89PNG", "PNG"},
                                                   {"\xFF\xD8\xFF", "JPEG"},
                                                   {"P6", "a colour PPM"},
                                                   {"P2", "a PGM as text"}}};

/// Empty where the content is of none.
std::string known_form(std::span<const uint8_t> head, uint64_t bytes, uint64_t samples, int bits) {
    const std::string_view start(reinterpret_cast<const char*>(head.data()), head.size());
    for (const auto& [magic, name] : kKnownForms) {
        if (start.substr(0, magic.size()) == magic) {
            return name;
        }
    }
    const bool packed = bits > kMinBits && bits < kMaxBits && bytes == samples * static_cast<unsigned>(bits) / 8;
    return packed ? text("packed raw, %d bits a sample", bits) : "";
}

}  // namespace

void probe_raw(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry) {
    require_known(capture.file, geometry.width && geometry.height, "size", "--size");
    require_known(capture.file, geometry.bits.has_value(), "bit depth", "--bits");
    SensorGeometry& sensor = capture.sensor;
    sensor.width = *geometry.width;
    sensor.height = *geometry.height;
    sensor.bits = *geometry.bits;
    const uint64_t count = static_cast<uint64_t>(sensor.width) * static_cast<uint64_t>(sensor.height);
    if (bytes == 2 * count || (sensor.bits == kMinBits && bytes == count)) {
        return;
    }
    if (const std::string form = known_form(head, bytes, count, sensor.bits); !form.empty()) {
        throw InputError(capture.file.string() + ": is " + form +
                         ", which is not read; expected 16-bit little-endian samples or binary PGM");
    }
    throw InputError(capture.file.string() + ": " + (bytes < 2 * count ? "truncated: " : "") +
                     text("%llu bytes, expected %llu for ", static_cast<unsigned long long>(bytes), 2ULL * count) +
                     by(sensor.width, sensor.height) + " samples of 16 bits, the size by " + geometry.source);
}

void read_raw(FileFrame& frame, std::span<const uint8_t> content, const Geometry& geometry) {
    probe_raw(frame.capture, content, content.size(), geometry);
    const SensorGeometry& sensor = frame.capture.sensor;
    const std::size_t count = static_cast<std::size_t>(sensor.width) * static_cast<std::size_t>(sensor.height);
    fill_codes(frame, content, {content.size() == 2 * count, false});
}

void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples) {
    OutputFile output(file);
    write_samples(output.stream(), samples, {true, false});
    output.commit();
}

}  // namespace cali::host
