#include "captures/frame.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

uint32_t scaled_up(uint32_t sample, int bits) { return sample << static_cast<unsigned>(kLibraryBits - bits); }

uint32_t scaled_down(uint32_t sample, int bits) {
    const auto shift = static_cast<unsigned>(bits - kLibraryBits);
    return std::min((sample + (1U << (shift - 1U))) >> shift, kLibraryFullScale);
}

template <std::size_t high>
void decode_words(std::span<const uint8_t> bytes, std::span<uint16_t> codes) {
    for (std::size_t i = 0; i < codes.size(); ++i) {
        codes[i] = static_cast<uint16_t>(bytes[2 * i + high] << 8U | bytes[2 * i + 1 - high]);
    }
}

}  // namespace

uint32_t mean_on_library_scale(uint64_t sum, uint32_t count, int bits) {
    const uint64_t scaled = sum << static_cast<unsigned>(std::max(kLibraryBits - bits, 0));
    const uint64_t divisor = uint64_t{count} << static_cast<unsigned>(std::max(bits - kLibraryBits, 0));
    return static_cast<uint32_t>(std::min<uint64_t>((scaled + divisor / 2) / divisor, kLibraryFullScale));
}

uint32_t to_library_scale(uint32_t sample, int bits) {
    return bits <= kLibraryBits ? scaled_up(sample, bits) : scaled_down(sample, bits);
}

double code_step(int bits) { return std::ldexp(1.0, std::max(kLibraryBits - bits, 0)); }

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

Codes to_file_codes(std::span<const uint32_t> samples) {
    Codes codes(samples.size());
    std::ranges::transform(samples, codes.begin(),
                           [](uint32_t sample) { return static_cast<uint16_t>(std::min(sample, kLibraryFullScale)); });
    return codes;
}

void to_library_scale(std::span<const uint16_t> codes, int bits, uint32_t* samples) {
    // One loop for each of the two scales, which compilers vectorise.
    if (bits <= kLibraryBits) {
        std::ranges::transform(codes, samples, [bits](uint16_t code) { return scaled_up(code, bits); });
    } else {
        std::ranges::transform(codes, samples, [bits](uint16_t code) { return scaled_down(code, bits); });
    }
}

Capture to_capture(FileFrame frame) {
    Capture capture = std::move(frame.capture);
    capture.samples = Samples(frame.codes.size());
    to_library_scale(frame.codes, capture.sensor.bits, capture.samples.data());
    return capture;
}

void decode_samples(std::span<const uint8_t> bytes, const SampleForm& form, std::span<uint16_t> codes) {
    if (!form.wide) {
        std::copy_n(bytes.begin(), codes.size(), codes.begin());
        return;
    }
    if (form.big_endian) {
        decode_words<0>(bytes, codes);
    } else {
        decode_words<1>(bytes, codes);
    }
}

bool exceed(std::span<const uint16_t> codes, int bits) {
    unsigned all = 0;
    for (const uint16_t code : codes) {
        all |= code;
    }
    return (all >> static_cast<unsigned>(bits)) != 0;
}

std::size_t photosites(const SensorGeometry& sensor) {
    return static_cast<std::size_t>(sensor.width) * static_cast<std::size_t>(sensor.height);
}

void refuse_codes(const Capture& capture, const Codes& codes) {
    const SensorGeometry& sensor = capture.sensor;
    const int most = (1 << sensor.bits) - 1;
    const auto large = std::ranges::find_if(codes, [most](uint16_t code) { return code > most; });
    const auto place = static_cast<std::size_t>(large - codes.begin());
    const auto columns = static_cast<std::size_t>(sensor.width);
    throw InputError(capture.file.string() +
                     text(": the sample at column %zu, row %zu is %u, expected at most %d (%d bits)", place % columns,
                          place / columns, static_cast<unsigned>(*large), most, sensor.bits));
}

void set_codes(FileFrame& frame, Codes codes) {
    if (exceed(codes, frame.capture.sensor.bits)) {
        refuse_codes(frame.capture, codes);
    }
    frame.codes = std::move(codes);
}

void fill_codes(FileFrame& frame, std::span<const uint8_t> bytes, const SampleForm& form) {
    Codes codes(photosites(frame.capture.sensor));
    decode_samples(bytes, form, codes);
    set_codes(frame, std::move(codes));
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
