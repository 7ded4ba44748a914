#include "captures/read_capture.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <limits>

#include "base/digest.h"
#include "base/error.h"
#include "captures/pgm_file.h"
#include "captures/raw_file.h"

namespace cali::host {
namespace {

using Bytes = std::vector<uint8_t>;

std::ifstream open_file(const std::filesystem::path& file) {
    std::error_code error;
    const bool regular = std::filesystem::is_regular_file(file, error);
    std::ifstream stream(file, std::ios::binary);
    if (!regular || !stream) {
        throw InputError(file.string() + ": " +
                         (std::filesystem::exists(file, error) ? "cannot be read as a file" : "no such file"));
    }
    return stream;
}

/// The first bytes, at most that many.
Bytes read_bytes(const std::filesystem::path& file, uint64_t most) {
    std::ifstream stream = open_file(file);
    Bytes bytes(static_cast<std::size_t>(std::min<uint64_t>(std::filesystem::file_size(file), most)));
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (stream.gcount() != static_cast<std::streamsize>(bytes.size())) {
        throw InputError(file.string() + ": reading failed");
    }
    return bytes;
}

/// A form of files, and how to know it.
struct Reader {
    bool (*recognises)(const std::filesystem::path& file, std::span<const uint8_t> content);
    void (*probe)(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry);
    void (*read)(FileFrame& frame, std::span<const uint8_t> content, const Geometry& geometry);
};

/// The first that recognises a file reads it; the last takes what has no form of its own.
constexpr std::array kReaders = {
    Reader{is_pgm, probe_pgm, read_pgm},
    Reader{[](const std::filesystem::path&, std::span<const uint8_t>) { return true; }, probe_raw, read_raw},
};

const Reader& reader_of(const std::filesystem::path& file, std::span<const uint8_t> content) {
    return *std::ranges::find_if(kReaders, [&](const Reader& reader) { return reader.recognises(file, content); });
}

Capture empty_capture(const std::filesystem::path& file, const Geometry& geometry) {
    Capture capture;
    capture.file = file;
    require_known(file, geometry.pattern.has_value(), "colour pattern", "--pattern");
    capture.sensor.pattern = *geometry.pattern;
    return capture;
}

}  // namespace

FileFrame read_frame(const std::filesystem::path& file, const Geometry& geometry) {
    FileFrame frame{empty_capture(file, geometry), {}};
    const Bytes content = read_bytes(file, std::numeric_limits<uint64_t>::max());
    frame.capture.inputs = {{file, content.size(), digest_of(content)}};
    reader_of(file, content).read(frame, content, geometry);
    return frame;
}

Capture read_capture(const std::filesystem::path& file, const Geometry& geometry) {
    return to_capture(read_frame(file, geometry));
}

Capture probe_capture(const std::filesystem::path& file, const Geometry& geometry) {
    constexpr uint64_t kHead = 4096;  // more than any header
    Capture capture = empty_capture(file, geometry);
    const Bytes head = read_bytes(file, kHead);
    reader_of(file, head).probe(capture, head, std::filesystem::file_size(file), geometry);
    return capture;
}

}  // namespace cali::host
