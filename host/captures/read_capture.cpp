#include "captures/capture.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <fstream>
#include <string>

#include "base/error.h"
#include "base/output_file.h"

namespace cali::host {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes read_bytes(const std::filesystem::path& file) {
    std::error_code error;
    const bool regular = std::filesystem::is_regular_file(file, error);
    std::ifstream stream(file, std::ios::binary);
    if (!regular || !stream) {
        throw InputError(file.string() + ": " +
                         (std::filesystem::exists(file, error) ? "cannot be read as a file" : "no such file"));
    }
    Bytes bytes(static_cast<std::size_t>(std::filesystem::file_size(file)));
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (stream.gcount() != static_cast<std::streamsize>(bytes.size())) {
        throw InputError(file.string() + ": reading failed");
    }
    return bytes;
}

std::string by(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

/// Header fields of a binary PGM: decimal numbers after white space and '#' comments.
class PgmHeader {
public:
    PgmHeader(const Bytes& bytes, const std::filesystem::path& file) : bytes_(bytes), file_(file) {
        if (bytes.size() < 2 || bytes[0] != 'P' || bytes[1] != '5') {
            throw InputError(file.string() + ": not a binary PGM, expected it to start with P5");
        }
        at_ = 2;
        width = next("width", kMaxSide);
        height = next("height", kMaxSide);
        max_value = next("maximum value", 65535);
        ++at_;  // the one white space before the samples
    }

    [[nodiscard]] std::size_t size() const { return at_; }

    int width = 0;
    int height = 0;
    int max_value = 0;

private:
    int next(const char* what, int most) {
        while (at_ < bytes_.size() && (std::isspace(bytes_[at_]) != 0 || bytes_[at_] == '#')) {
            if (bytes_[at_] == '#') {
                while (at_ < bytes_.size() && bytes_[at_] != '\n') {
                    ++at_;
                }
            } else {
                ++at_;
            }
        }
        int64_t value = 0;
        const std::size_t begin = at_;
        for (; at_ < bytes_.size() && std::isdigit(bytes_[at_]) != 0 && at_ < begin + 9; ++at_) {
            value = value * 10 + (bytes_[at_] - '0');
        }
        if (at_ == begin) {
            throw InputError(file_.string() + ": the PGM header has no " + what);
        }
        return check_number(value, 1, most, file_.string() + ": the PGM header's " + what);
    }

    const Bytes& bytes_;
    const std::filesystem::path& file_;
    std::size_t at_ = 0;
};

void require(const std::filesystem::path& file, bool known, const char* what, const char* option) {
    if (!known) {
        throw InputError(file.string() + ": its " + what + " is not known, expected " + option +
                         " or a session file that tells");
    }
}

/// Two-byte samples, or one-byte ones.
uint32_t sample_at(const uint8_t* data, std::size_t i, bool wide, bool big_endian) {
    if (!wide) {
        return data[i];
    }
    const uint32_t first = data[2 * i];
    const uint32_t second = data[2 * i + 1];
    return big_endian ? first << 8U | second : second << 8U | first;
}

void fill_samples(Capture& capture, const uint8_t* data, bool wide, bool big_endian) {
    const auto columns = static_cast<std::size_t>(capture.width);
    const std::size_t count = columns * static_cast<std::size_t>(capture.height);
    const uint32_t most = (1U << static_cast<unsigned>(capture.bits)) - 1U;
    capture.samples.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const uint32_t sample = sample_at(data, i, wide, big_endian);
        if (sample > most) {
            throw InputError(capture.file.string() + ": the sample at column " + std::to_string(i % columns) +
                             ", row " + std::to_string(i / columns) + " is " + std::to_string(sample) +
                             ", expected at most " + std::to_string(most) + " (" + std::to_string(capture.bits) +
                             " bits)");
        }
        capture.samples[i] = to_library_scale(sample, capture.bits);
    }
}

void read_pgm(Capture& capture, const Bytes& bytes, const Geometry& geometry) {
    const PgmHeader header(bytes, capture.file);
    capture.width = header.width;
    capture.height = header.height;
    if (geometry.width.value_or(header.width) != header.width ||
        geometry.height.value_or(header.height) != header.height) {
        throw InputError(capture.file.string() + ": " + by(header.width, header.height) + " samples, expected " +
                         by(geometry.width.value_or(header.width), geometry.height.value_or(header.height)) + " by " +
                         geometry.source);
    }
    const int header_bits =
        std::max(static_cast<int>(std::bit_width(static_cast<unsigned>(header.max_value))), kMinBits);
    capture.bits = geometry.bits.value_or(header_bits);
    const bool wide = header.max_value > 255;
    const std::size_t expected =
        static_cast<std::size_t>(header.width) * static_cast<std::size_t>(header.height) * (wide ? 2 : 1);
    const std::size_t found = bytes.size() - std::min(bytes.size(), header.size());
    if (found < expected) {
        throw InputError(capture.file.string() + ": truncated: " + std::to_string(found) +
                         " bytes of samples, expected " + std::to_string(expected) + " for " +
                         by(header.width, header.height));
    }
    fill_samples(capture, bytes.data() + header.size(), wide, true);
}

void read_raw(Capture& capture, const Bytes& bytes, const Geometry& geometry) {
    require(capture.file, geometry.width && geometry.height, "size", "--size");
    require(capture.file, geometry.bits.has_value(), "bit depth", "--bits");
    capture.width = *geometry.width;
    capture.height = *geometry.height;
    capture.bits = *geometry.bits;
    const std::size_t count = static_cast<std::size_t>(capture.width) * static_cast<std::size_t>(capture.height);
    const bool wide = !(capture.bits == kMinBits && bytes.size() == count);
    if (wide && bytes.size() != 2 * count) {
        throw InputError(capture.file.string() + ": " + (bytes.size() < 2 * count ? "truncated: " : "") +
                         std::to_string(bytes.size()) + " bytes, expected " + std::to_string(2 * count) + " for " +
                         by(capture.width, capture.height) + " samples of 16 bits, the size by " + geometry.source);
    }
    fill_samples(capture, bytes.data(), wide, false);
}

void write_samples(std::ostream& stream, std::span<const uint16_t> samples, bool wide, bool big_endian) {
    std::string bytes;
    bytes.reserve(samples.size() * 2);
    for (const uint16_t sample : samples) {
        const auto low = static_cast<char>(sample & 0xFFU);
        const auto high = static_cast<char>(sample >> 8U);
        if (!wide) {
            bytes.push_back(low);
        } else if (big_endian) {
            bytes.append({high, low});
        } else {
            bytes.append({low, high});
        }
    }
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

uint32_t to_library_scale(uint32_t sample, int bits) {
    if (bits <= kLibraryBits) {
        return sample << static_cast<unsigned>(kLibraryBits - bits);
    }
    const auto shift = static_cast<unsigned>(bits - kLibraryBits);
    return std::min((sample + (1U << (shift - 1U))) >> shift, kLibraryFullScale);
}

uint32_t full_scale_code(const Capture& capture) {
    return to_library_scale((1U << static_cast<uint32_t>(capture.bits)) - 1, capture.bits);
}

std::vector<uint16_t> to_file_codes(std::span<const uint32_t> samples) {
    std::vector<uint16_t> codes(samples.size());
    std::ranges::transform(samples, codes.begin(),
                           [](uint32_t sample) { return static_cast<uint16_t>(std::min(sample, kLibraryFullScale)); });
    return codes;
}

Capture read_capture(const std::filesystem::path& file, const Geometry& geometry) {
    Capture capture;
    capture.file = file;
    require(file, geometry.pattern.has_value(), "colour pattern", "--pattern");
    capture.pattern = *geometry.pattern;
    const Bytes bytes = read_bytes(file);
    std::string extension = file.extension().string();
    std::ranges::transform(extension, extension.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension == ".pgm") {
        read_pgm(capture, bytes, geometry);
    } else {
        read_raw(capture, bytes, geometry);
    }
    return capture;
}

void write_raw(const std::filesystem::path& file, std::span<const uint16_t> samples) {
    OutputFile output(file);
    write_samples(output.stream(), samples, true, false);
    output.commit();
}

void write_pgm(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples) {
    OutputFile output(file);
    output.stream() << "P5\n" << width << ' ' << height << '\n' << ((1 << bits) - 1) << '\n';
    write_samples(output.stream(), samples, bits > kMinBits, true);
    output.commit();
}

}  // namespace cali::host
