#include "captures/tiff_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string>

#include "base/error.h"
#include "base/output_file.h"
#include "base/text.h"
#include "captures/file_form.h"
#include "captures/limits.h"
#include "captures/tiff_handle.h"

namespace cali::host {
namespace {

constexpr std::array<uint16_t, 7> kLossless = {COMPRESSION_NONE,          COMPRESSION_LZW,  COMPRESSION_PACKBITS,
                                               COMPRESSION_ADOBE_DEFLATE, COMPRESSION_LZMA, COMPRESSION_DEFLATE,
                                               COMPRESSION_ZSTD};

/// The first directory's samples.
struct SampleLayout {
    int bits = 0;  ///< of a sample in the file
    std::size_t columns = 0;
    std::size_t rows = 0;
};

void require(const Capture& capture, bool right, const std::string& found, const char* expected) {
    if (!right) {
        throw InputError(capture.file.string() + ": a TIFF of " + found + ", expected " + expected);
    }
}

SampleLayout check_directory(Capture& capture, const TiffHandle& tiff, uint64_t bytes, const Geometry& geometry) {
    const auto number = [&](uint32_t tag) { return static_cast<int>(tiff.value<uint16_t>(tag, 0)); };
    const int channels = number(TIFFTAG_SAMPLESPERPIXEL);
    require(capture, channels == 1, text("%d channels", channels), "one");
    const int depth = number(TIFFTAG_BITSPERSAMPLE);
    require(capture, depth >= kMinBits && depth <= kMaxBits, text("%d bits a sample", depth), "8 to 16");
    const int form = number(TIFFTAG_SAMPLEFORMAT);
    require(capture, form == SAMPLEFORMAT_UINT || form == SAMPLEFORMAT_VOID, text("sample format %d", form),
            "whole numbers without a sign (1)");
    const int photometric = number(TIFFTAG_PHOTOMETRIC);
    require(capture, photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_CFA,
            text("photometric interpretation %d", photometric), "grey with black at 0 (1)");
    const int compression = number(TIFFTAG_COMPRESSION);
    require(capture,
            std::ranges::find(kLossless, compression) != kLossless.end() &&
                TIFFIsCODECConfigured(static_cast<uint16_t>(compression)) == 1,
            text("compression %d", compression), "none, LZW, deflate, PackBits or another lossless one");
    const uint32_t width = tiff.value<uint32_t>(TIFFTAG_IMAGEWIDTH, 0);
    const uint32_t height = tiff.value<uint32_t>(TIFFTAG_IMAGELENGTH, 0);
    const uint64_t inflation = compression == COMPRESSION_NONE ? 1 : kMostInflation;
    require_plausible_size(capture.file, width, height, bytes, inflation);
    tiff.require_data();
    set_told_pattern(capture, geometry);
    set_own_size(capture, static_cast<int>(width), static_cast<int>(height), geometry);
    const uint32_t largest = (1U << static_cast<unsigned>(depth)) - 1U;
    const uint32_t told = tiff.value<uint16_t>(TIFFTAG_MAXSAMPLEVALUE, 0);
    // Some writers put the largest sample of the picture here; it says the depth only where all bits are set.
    const uint32_t most = told < largest && std::has_single_bit(told + 1) && told > 1 ? told : largest;
    set_own_bits(capture, static_cast<int>(std::bit_width(most)), geometry);
    capture.sensor.white_level =
        static_cast<int>(std::min(most, (1U << static_cast<unsigned>(capture.sensor.bits)) - 1U));
    return {depth, width, height};
}

/// A row's samples, high bits first where they are not of 8 or 16 bits; libtiff brings words to this machine's order.
void unpack(const uint8_t* bytes, int bits, std::span<uint16_t> codes) {
    if (bits == kMaxBits) {
        const auto* const words = reinterpret_cast<const uint16_t*>(bytes);
        std::copy_n(words, codes.size(), codes.begin());
        return;
    }
    uint32_t held = 0;
    int count = 0;
    for (uint16_t& code : codes) {
        for (; count < bits; count += 8) {
            held = (held << 8U) | *bytes++;
        }
        count -= bits;
        code =
            static_cast<uint16_t>((held >> static_cast<unsigned>(count)) & ((1U << static_cast<unsigned>(bits)) - 1U));
    }
}

/// Strips are tiles as wide as the picture; the last may be lower.
Codes decode(const Capture& capture, const TiffHandle& tiff, const SampleLayout& samples, uint64_t bytes) {
    const bool tiled = TIFFIsTiled(tiff.get()) != 0;
    const auto columns = tiled ? static_cast<std::size_t>(tiff.value<uint32_t>(TIFFTAG_TILEWIDTH, 0)) : samples.columns;
    const auto rows = std::min<std::size_t>(tiff.value<uint32_t>(tiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, 0),
                                            tiled ? kMaxSide : samples.rows);
    // Tiles may reach over the edge, but for no more than a file of this length can stand for.
    require_plausible_size(capture.file, columns, rows, bytes, kMostInflation);
    const std::size_t row_bytes = (columns * static_cast<std::size_t>(samples.bits) + 7) / 8;
    std::vector<uint8_t> block(rows * row_bytes);
    Codes codes(samples.columns * samples.rows);
    uint32_t index = 0;
    for (std::size_t y = 0; y < samples.rows; y += rows) {
        const std::size_t height = std::min(rows, samples.rows - y);
        const std::size_t expected = (tiled ? rows : height) * row_bytes;
        for (std::size_t x = 0; x < samples.columns; x += columns, ++index) {
            const auto size = static_cast<tmsize_t>(expected);
            const tmsize_t got = tiled ? TIFFReadEncodedTile(tiff.get(), index, block.data(), size)
                                       : TIFFReadEncodedStrip(tiff.get(), index, block.data(), size);
            if (got != size) {
                tiff.fail("its samples end too early");
            }
            const std::size_t width = std::min(columns, samples.columns - x);
            for (std::size_t row = 0; row < height; ++row) {
                unpack(block.data() + row * row_bytes, samples.bits,
                       std::span(codes).subspan((y + row) * samples.columns + x, width));
            }
        }
    }
    return codes;
}

}  // namespace

bool is_tiff(const std::filesystem::path& file, std::span<const uint8_t> content) {
    const std::string suffix = lower_suffix(file);
    return has_tiff_magic(content) || suffix == ".tif" || suffix == ".tiff" || suffix == ".dng";
}

bool is_grey_tiff(const std::filesystem::path& file, std::span<const uint8_t> content) {
    if (!is_tiff(file, content)) {
        return false;
    }
    try {
        const TiffHandle tiff(file, content);
        const uint8_t* version = nullptr;
        const int photometric = tiff.value<uint16_t>(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        return TIFFGetField(tiff.get(), TIFFTAG_DNGVERSION, &version) != 1 &&
               tiff.value<uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1) == 1 && photometric != PHOTOMETRIC_CFA;
    } catch (const InputError&) {
        return true;  // reading it tells what is wrong
    }
}

void probe_tiff(Capture& capture, std::span<const uint8_t> content, uint64_t bytes, const Geometry& geometry) {
    const TiffHandle tiff(capture.file, content);
    (void)check_directory(capture, tiff, bytes, geometry);
}

void read_tiff(FileFrame& frame, FileContent& content, const Geometry& geometry) {
    const std::span<const uint8_t> bytes = content.bytes();
    const TiffHandle tiff(frame.capture.file, bytes);
    const SampleLayout samples = check_directory(frame.capture, tiff, bytes.size(), geometry);
    set_codes(frame, decode(frame.capture, tiff, samples, bytes.size()));
}

void write_tiff(const std::filesystem::path& file, int width, int height, int bits, std::span<const uint16_t> samples) {
    constexpr uint32_t kRowsPerStrip = 64;
    TiffHandle handle(file);
    TIFF* const tiff = handle.get();
    const bool wide = bits > kMinBits;
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, wide ? 16 : 8);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kRowsPerStrip);
    TIFFSetField(tiff, TIFFTAG_MAXSAMPLEVALUE, (1 << bits) - 1);
    const auto columns = static_cast<std::size_t>(width);
    std::vector<uint8_t> strip;
    for (uint32_t index = 0; !samples.empty(); ++index) {
        const auto part = samples.first(std::min(samples.size(), columns * kRowsPerStrip));
        strip.resize(part.size() * (wide ? 2 : 1));
        if (wide) {
            std::ranges::copy(std::as_bytes(part), reinterpret_cast<std::byte*>(strip.data()));
        } else {
            std::ranges::transform(part, strip.begin(), [](uint16_t code) { return static_cast<uint8_t>(code); });
        }
        if (TIFFWriteEncodedStrip(tiff, index, strip.data(), static_cast<tmsize_t>(strip.size())) < 0) {
            handle.fail("its samples were not taken");
        }
        samples = samples.subspan(part.size());
    }
    write_text_file(file, handle.finish());
}

}  // namespace cali::host
