#include "captures/read_capture.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "base/digest.h"
#include "base/error.h"
#include "base/input_file.h"
#include "base/text.h"
#include "captures/camera_raw_file.h"
#include "captures/confined_decoder.h"
#include "captures/file_form.h"
#include "captures/limits.h"
#include "captures/pgm_file.h"
#include "captures/png_file.h"
#include "captures/raw_file.h"
#include "captures/tiff_file.h"

namespace cali::host {
namespace {

/// A part stays in the second cache until the next is read.
constexpr std::size_t kPart = std::size_t{1} << 18U;

void read_next(std::ifstream& stream, const std::filesystem::path& file, std::span<uint8_t> bytes) {
    if (!stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        throw InputError(file.string() + ": reading failed");
    }
}

/// The first `count` bytes, which it holds. `told` gets them part by part.
template <typename Told>
FileContent read_bytes(const std::filesystem::path& file, uint64_t count, Told told) {
    std::ifstream stream = open_input(file);
    FileContent content(static_cast<std::size_t>(count));
    for (std::span<uint8_t> rest = content.bytes(); !rest.empty();) {
        const std::span<uint8_t> part = rest.first(std::min(rest.size(), kPart));
        read_next(stream, file, part);
        told(part);
        rest = rest.subspan(part.size());
    }
    return content;
}

void nobody(std::span<const uint8_t> /*part*/) {}

uint64_t size_of(const std::filesystem::path& file) {
    (void)open_input(file);
    return std::filesystem::file_size(file);
}

template <typename Told>
FileContent read_all(const std::filesystem::path& file, Told told) {
    const uint64_t bytes = size_of(file);
    if (bytes > kMostFileBytes) {
        throw InputError(file.string() + text(": %llu bytes, expected a capture of at most %llu",
                                              static_cast<unsigned long long>(bytes),
                                              static_cast<unsigned long long>(kMostFileBytes)));
    }
    return read_bytes(file, bytes, told);
}

/// More than any header that stands alone.
constexpr uint64_t kHead = 4096;

/// A form of files, and how to know it.
struct Reader {
    bool (*recognises)(const std::filesystem::path& file, std::span<const uint8_t> content);
    void (*probe)(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry);
    void (*read)(FileFrame& frame, FileContent& content, const Geometry& geometry);
};

/// The first that recognises a file reads it; the last takes what has no form of its own.
constexpr std::array kReaders = {
    Reader{is_pgm, probe_pgm, read_pgm},
    Reader{is_png, probe_png, read_png},
    Reader{is_grey_tiff, probe_tiff, read_tiff},
    Reader{is_camera_raw, probe_camera_raw, read_camera_raw},
    Reader{[](const std::filesystem::path&, std::span<const uint8_t>) { return true; }, probe_raw, read_raw},
};

const Reader& reader_of(const std::filesystem::path& file, std::span<const uint8_t> content) {
    return *std::ranges::find_if(kReaders, [&](const Reader& reader) { return reader.recognises(file, content); });
}

/// Whether others' libraries read it.
bool is_foreign(const std::filesystem::path& file, std::span<const uint8_t> head) {
    return is_tiff(file, head) || is_camera_raw(file, head);
}

/// Forms whose headers may be anywhere in the file.
bool is_container(const std::filesystem::path& file, std::span<const uint8_t> head) {
    return is_png(file, head) || is_foreign(file, head);
}

/// Once the file has told what it does.
void set_in_force(Capture& capture, const Geometry& geometry) {
    capture.metadata.gain = geometry.gain ? geometry.gain : capture.metadata.gain;
    capture.taken.gain = capture.metadata.gain;
    capture.settings = settings_of(capture, geometry);
}

void decode_here(FileFrame& frame, const EncodedFrame& encoded) {
    const std::span<const uint8_t> bytes = std::as_const(encoded.content).bytes();
    const Reader& reader = reader_of(frame.capture.file, bytes);
    if (encoded.head_alone) {
        reader.probe(frame.capture, bytes, encoded.bytes, encoded.geometry);
    } else {
        reader.read(frame, encoded.content, encoded.geometry);
    }
}

void decode(FileFrame& frame, const EncodedFrame& encoded) {
    if (is_foreign(frame.capture.file, std::as_const(encoded.content).bytes())) {
        decode_confined(frame, encoded, decode_here);
    } else {
        decode_here(frame, encoded);
    }
}

/// Plain words, each part of which goes to the library's scale while it is there. Nothing for other files, and for
/// words that are to be looked at more closely.
std::optional<Capture> read_plain(const std::filesystem::path& file, const Geometry& geometry) {
    Capture capture;
    capture.file = file;
    const uint64_t bytes = size_of(file);
    FileContent head = read_bytes(file, std::min(bytes, kHead), nobody);
    if (bytes > kMostFileBytes || is_container(file, head.bytes()) || reader_of(file, head.bytes()).read != read_raw ||
        !is_plain_raw(capture, head.bytes(), bytes, geometry)) {
        return std::nullopt;
    }
    std::ifstream stream = open_input(file);
    std::vector<uint16_t> words(kPart / sizeof(uint16_t));
    Digest digest;
    unsigned word_bits = 0;
    capture.samples = Samples(photosites(capture.sensor));
    for (std::size_t done = 0; done < capture.samples.size();) {
        const auto part = std::span(words).first(std::min(words.size(), capture.samples.size() - done));
        const std::span<uint8_t> part_bytes(reinterpret_cast<uint8_t*>(part.data()), part.size_bytes());
        read_next(stream, file, part_bytes);
        digest.add(part_bytes);
        for (const uint16_t word : part) {
            word_bits |= word;
        }
        to_library_scale(part, capture.sensor.bits, capture.samples.data() + done);
        done += part.size();
    }
    if (!surely_codes(static_cast<uint16_t>(word_bits), capture.sensor.bits)) {
        return std::nullopt;
    }
    capture.inputs = {{file, bytes, digest.text()}};
    set_in_force(capture, geometry);
    return capture;
}

}  // namespace

FileFrame read_frame(const std::filesystem::path& file, const Geometry& geometry) {
    FileFrame frame;
    Capture& capture = frame.capture;
    Digest digest;
    FileContent content = read_all(file, [&](std::span<const uint8_t> part) { digest.add(part); });
    const uint64_t bytes = content.bytes().size();
    capture.file = file;
    capture.inputs = {{file, bytes, digest.text()}};
    decode(frame, {content, bytes, geometry});
    set_in_force(capture, geometry);
    return frame;
}

Capture read_capture(const std::filesystem::path& file, const Geometry& geometry) {
    std::optional<Capture> plain = read_plain(file, geometry);
    return plain ? std::move(*plain) : to_capture(read_frame(file, geometry));
}

Capture probe_capture(const std::filesystem::path& file, const Geometry& geometry) {
    FileFrame frame;
    frame.capture.file = file;
    const uint64_t bytes = size_of(file);
    FileContent content = read_bytes(file, std::min(bytes, kHead), nobody);
    if (is_container(file, content.bytes())) {
        content = read_all(file, nobody);
    }
    decode(frame, {content, bytes, geometry, true});
    set_in_force(frame.capture, geometry);
    return std::move(frame.capture);
}

std::optional<int> serve_as_decoder(const std::vector<std::string>& arguments) {
    return serve_as_decoder(arguments, decode_here);
}

}  // namespace cali::host
