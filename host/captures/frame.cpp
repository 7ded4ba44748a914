#include "captures/frame.h"

#include <algorithm>
#include <ostream>
#include <string>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

uint32_t sample_at(const uint8_t* data, std::size_t i, const SampleForm& form) {
    if (!form.wide) {
        return data[i];
    }
    const uint32_t first = data[2 * i];
    const uint32_t second = data[2 * i + 1];
    return form.big_endian ? first << 8U | second : second << 8U | first;
}

}  // namespace

uint32_t mean_on_library_scale(uint64_t sum, uint32_t count, int bits) {
    const uint64_t scaled = sum << static_cast<unsigned>(std::max(kLibraryBits - bits, 0));
    const uint64_t divisor = uint64_t{count} << static_cast<unsigned>(std::max(bits - kLibraryBits, 0));
    return static_cast<uint32_t>(std::min<uint64_t>((scaled + divisor / 2) / divisor, kLibraryFullScale));
}

uint32_t to_library_scale(uint32_t sample, int bits) {
    if (bits <= kLibraryBits) {
        return sample << static_cast<unsigned>(kLibraryBits - bits);
    }
    const auto shift = static_cast<unsigned>(bits - kLibraryBits);
    return std::min((sample + (1U << (shift - 1U))) >> shift, kLibraryFullScale);
}

uint32_t full_scale_code(const SensorGeometry& sensor) {
    // A container's white level may exceed the depth that the user states.
    const int most = (1 << sensor.bits) - 1;
    return to_library_scale(static_cast<uint32_t>(std::min(sensor.white_level.value_or(most), most)), sensor.bits);
}

void require_colours(const Capture& capture, const char* what) {
    if (capture.sensor.mono) {
        throw InputError(capture.file.string() + ": is of a MONO sensor, " + what + " needs colours");
    }
}

std::vector<uint16_t> to_file_codes(std::span<const uint32_t> samples) {
    std::vector<uint16_t> codes(samples.size());
    std::ranges::transform(samples, codes.begin(),
                           [](uint32_t sample) { return static_cast<uint16_t>(std::min(sample, kLibraryFullScale)); });
    return codes;
}

Capture to_capture(FileFrame frame) {
    Capture capture = std::move(frame.capture);
    const int bits = capture.sensor.bits;
    capture.samples.resize(frame.codes.size());
    std::ranges::transform(frame.codes, capture.samples.begin(),
                           [bits](uint16_t code) { return to_library_scale(code, bits); });
    return capture;
}

void fill_codes(FileFrame& frame, std::span<const uint8_t> bytes, const SampleForm& form) {
    const Capture& capture = frame.capture;
    const int bits = capture.sensor.bits;
    const auto columns = static_cast<std::size_t>(capture.sensor.width);
    const std::size_t count = columns * static_cast<std::size_t>(capture.sensor.height);
    const uint32_t most = (1U << static_cast<unsigned>(bits)) - 1U;
    frame.codes.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const uint32_t sample = sample_at(bytes.data(), i, form);
        if (sample > most) {
            throw InputError(capture.file.string() + text(": the sample at column %zu, row %zu is %u, expected at most "
                                                          "%u (%d bits)",
                                                          i % columns, i / columns, sample, most, bits));
        }
        frame.codes[i] = static_cast<uint16_t>(sample);
    }
}

void write_samples(std::ostream& stream, std::span<const uint16_t> samples, const SampleForm& form) {
    std::string bytes;
    bytes.reserve(samples.size() * 2);
    for (const uint16_t sample : samples) {
        const auto low = static_cast<char>(sample & 0xFFU);
        const auto high = static_cast<char>(sample >> 8U);
        if (!form.wide) {
            bytes.push_back(low);
        } else if (form.big_endian) {
            bytes.append({high, low});
        } else {
            bytes.append({low, high});
        }
    }
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace cali::host
