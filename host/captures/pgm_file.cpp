#include "captures/pgm_file.h"

#include <algorithm>
#include <bit>
#include <cctype>
#include <string>

#include "base/error.h"
#include "base/output_file.h"
#include "captures/file_form.h"

namespace cali::host {
namespace {

bool has_magic(std::span<const uint8_t> content) {
    return content.size() >= 2 && content[0] == 'P' && content[1] == '5';
}

/// Header fields: decimal numbers after white space and '#' comments.
class PgmHeader {
public:
    PgmHeader(std::span<const uint8_t> content, const std::filesystem::path& file) : content_(content), file_(file) {
        if (!has_magic(content)) {
            throw InputError(file.string() + ": not a binary PGM, expected it to start with P5");
        }
        at_ = 2;
        width = next("width", kMaxSide);
        height = next("height", kMaxSide);
        max_value = next("maximum value", 65535);
        ++at_;  // the one white space before the samples
    }

    /// Where the samples begin.
    [[nodiscard]] std::size_t size() const { return at_; }

    int width = 0;
    int height = 0;
    int max_value = 0;

private:
    int next(const char* what, int most) {
        while (at_ < content_.size() && (std::isspace(content_[at_]) != 0 || content_[at_] == '#')) {
            if (content_[at_] == '#') {
                while (at_ < content_.size() && content_[at_] != '\n') {
                    ++at_;
                }
            } else {
                ++at_;
            }
        }
        int64_t value = 0;
        const std::size_t begin = at_;
        for (; at_ < content_.size() && std::isdigit(content_[at_]) != 0 && at_ < begin + 9; ++at_) {
            value = value * 10 + (content_[at_] - '0');
        }
        if (at_ == begin) {
            throw InputError(file_.string() + ": the PGM header has no " + what);
        }
        return check_number(value, 1, most, file_.string() + ": the PGM header's " + what);
    }

    std::span<const uint8_t> content_;
    const std::filesystem::path& file_;
    std::size_t at_ = 0;
};

}  // namespace

bool is_pgm(const std::filesystem::path& file, std::span<const uint8_t> content) {
    const std::string suffix = lower_suffix(file);
    // By name too: a .pgm that is none is named, not taken for raw samples.
    return suffix == ".pgm" || (has_magic(content) && content.size() > 2 && std::isspace(content[2]) != 0);
}

namespace {

/// Whether samples take two bytes.
bool is_wide(const PgmHeader& header) { return header.max_value > 255; }

PgmHeader check_header(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry) {
    const PgmHeader header(head, capture.file);
    set_told_pattern(capture, geometry);
    set_own_size(capture, header.width, header.height, geometry);
    set_own_bits(capture, static_cast<int>(std::bit_width(static_cast<unsigned>(header.max_value))), geometry);
    SensorGeometry& sensor = capture.sensor;
    sensor.white_level = std::min(header.max_value, (1 << sensor.bits) - 1);
    const uint64_t expected = uint64_t{photosites(sensor)} * (is_wide(header) ? 2U : 1U);
    const uint64_t found = bytes - std::min<uint64_t>(header.size(), bytes);
    if (found < expected) {
        throw InputError(capture.file.string() + ": " + truncated_text(found, expected, sensor));
    }
    return header;
}

}  // namespace

void probe_pgm(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry) {
    (void)check_header(capture, head, bytes, geometry);
}

void read_pgm(FileFrame& frame, FileContent& content, const Geometry& geometry) {
    const std::span<const uint8_t> bytes = content.bytes();
    const PgmHeader header = check_header(frame.capture, bytes, bytes.size(), geometry);
    fill_codes(frame, bytes.subspan(header.size()), {is_wide(header), true});
}

PgmWriter::PgmWriter(std::ostream& stream, int width, int height, int bits) : stream_(stream), bits_(bits) {
    stream_ << "P5\n" << width << ' ' << height << '\n' << ((1 << bits) - 1) << '\n';
}

void PgmWriter::write(std::span<const uint16_t> samples) { write_samples(stream_, samples, {bits_ > kMinBits, true}); }

void write_pgm(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples) {
    OutputFile output(file);
    PgmWriter(output.stream(), width, height, bits).write(samples);
    output.commit();
}

}  // namespace cali::host
