#include "captures/raw_file.h"

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"

namespace cali::host {

void read_raw(Capture& capture, std::span<const uint8_t> content, const Geometry& geometry) {
    require_known(capture.file, geometry.width && geometry.height, "size", "--size");
    require_known(capture.file, geometry.bits.has_value(), "bit depth", "--bits");
    SensorGeometry& sensor = capture.sensor;
    sensor.width = *geometry.width;
    sensor.height = *geometry.height;
    sensor.bits = *geometry.bits;
    const std::size_t count = static_cast<std::size_t>(sensor.width) * static_cast<std::size_t>(sensor.height);
    const bool wide = !(sensor.bits == kMinBits && content.size() == count);
    if (wide && content.size() != 2 * count) {
        throw InputError(capture.file.string() + ": " + (content.size() < 2 * count ? "truncated: " : "") +
                         text("%zu bytes, expected %zu for ", content.size(), 2 * count) +
                         by(sensor.width, sensor.height) + " samples of 16 bits, the size by " + geometry.source);
    }
    fill_samples(capture, content, {wide, false});
}

void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples) {
    OutputFile output(file);
    write_samples(output.stream(), samples, {true, false});
    output.commit();
}

}  // namespace cali::host
