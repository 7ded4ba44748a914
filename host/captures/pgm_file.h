/// Binary PGM (Netpbm): grey, 8 or 16 bits, high byte first.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <span>

#include "captures/frame.h"

namespace cali::host {

/// Whether the content is taken for PGM.
[[nodiscard]] bool is_pgm(const std::filesystem::path& file, std::span<const uint8_t> content);

/// What the geometry tells must agree with the header, and a file of `bytes` bytes that begins with `head` must hold
/// the samples. Throw InputError.
void probe_pgm(Capture& capture, std::span<const uint8_t> head, uint64_t bytes, const Geometry& geometry);
void read_pgm(FileFrame& frame, FileContent& content, const Geometry& geometry);

/// Maximum value 2^bits - 1: 16-bit samples; one byte where the depth is 8.
class PgmWriter {
public:
    PgmWriter(std::ostream& stream, int width, int height, int bits);

    /// The next samples, one row or several.
    void write(std::span<const uint16_t> samples);

private:
    std::ostream& stream_;
    int bits_;
};
void write_pgm(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples);

}  // namespace cali::host
